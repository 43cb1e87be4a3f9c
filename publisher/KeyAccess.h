#pragma once

#include "publisher/SecretKey.h"

#include <QCommandLineOption>

#include <optional>

namespace publisher {

class CommandLine;
class Console;

/** The option that makes readPassword() read a file. */
QCommandLineOption passwordOption();

/**
 * The password in the file that the command line names, or one typed on the terminal after
 * @p question. Nothing, and a complaint on @p console, if there is neither. The caller wipes it.
 */
std::optional<QByteArray> readPassword(const CommandLine& line, const QString& question,
                                       const Console& console);

/** The key in the file at @p path; nothing, and a complaint on @p console, if it cannot be read. */
std::optional<SecretKey> readKey(const CommandLine& line, const QString& path,
                                 const Console& console);

} // namespace publisher

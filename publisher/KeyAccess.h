#pragma once

#include "publisher/SecretKey.h"

#include <QCommandLineOption>

#include <optional>

namespace publisher {

class CommandLine;
class Console;

/** The option that keeps readPassword() from asking. */
QCommandLineOption passwordOption();

/** From the file that the command line names, else asked for on the terminal with @p question;
 * nothing, and said on @p console, when there is no way to get one. */
std::optional<QByteArray> readPassword(const CommandLine& line, const QString& question,
                                       const Console& console);

/** The key in the file; nothing, and said on @p console, when it cannot be had. */
std::optional<SecretKey> readKey(const CommandLine& line, const QString& path,
                                 const Console& console);

} // namespace publisher

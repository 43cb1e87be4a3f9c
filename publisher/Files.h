#pragma once

#include <QByteArray>
#include <QString>

#include <optional>

namespace publisher {

class Console;

/** A document from a file or a server. */
struct DocumentFile
{
    std::optional<QByteArray> bytes;
    QString folder; //!< where the file lies; empty for one from a server
};

/** Reads @p place, a path or an http, https or file URL. Waits for a server up to 15 s. Says on
 * @p console why there is nothing. */
DocumentFile readDocument(const QString& place, const Console& console);

/** All of a file; nothing when it cannot be read, which is said on @p console. */
std::optional<QByteArray> readFile(const QString& path, const Console& console);

enum class Readers { eEverybody, eOwner };

/** Replaces the file as a whole or leaves it as it is; false, and said on @p console, if it cannot
 * be written. */
[[nodiscard]] bool writeFile(const QString& path, const QByteArray& bytes, const Console& console,
                             Readers readers = Readers::eEverybody);

} // namespace publisher

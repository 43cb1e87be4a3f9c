#pragma once

#include <QByteArray>
#include <QFileInfo>
#include <QString>

#include <optional>

class QDir;

namespace publisher {

class Console;

/** A document from a file or a server. */
struct DocumentFile
{
    std::optional<QByteArray> bytes;
    QString folder; //!< the folder of the file; empty for a document from a server
};

/**
 * Reads @p place, a path or an http, https or file URL. Waits up to 15 s for a server. Reports
 * errors on @p console.
 */
DocumentFile readDocument(const QString& place, const Console& console);

/** The contents of a file; nothing if it cannot be read, which is reported on @p console. */
std::optional<QByteArray> readFile(const QString& path, const Console& console);

/**
 * All that is in @p folder, hidden files and links too; nothing if it cannot be read, or has a name
 * that is not a text in the system's encoding.
 */
std::optional<QFileInfoList> entriesIn(const QDir& folder);

enum class Readers { eEverybody, eOwner };

/**
 * Replaces the file atomically. Returns false and reports on @p console if it cannot be written.
 */
[[nodiscard]] bool writeFile(const QString& path, const QByteArray& bytes, const Console& console,
                             Readers readers = Readers::eEverybody);

} // namespace publisher

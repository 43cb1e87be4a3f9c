#pragma once

#include <QByteArray>
#include <QFile>
#include <QString>

#include <filesystem>

namespace zk {

/** Whether all of @p data was written; otherwise @p file tells why. */
[[nodiscard]] bool writeAll(QIODevice& file, const char* data, qint64 size);

/** @p path for the standard library's functions; on Windows in the form that may be long. */
[[nodiscard]] std::filesystem::path nativeFilePath(const QString& path);

/** Renames a file on the same volume, and never copies it; false if that is not possible. */
[[nodiscard]] bool renameInPlace(const QString& from, const QString& to);

/**
 * Gives a partial file its name: by renaming it, otherwise by copying its bytes over the file that
 * exists already, or to another volume, a few MiB at a time.
 *
 * The partial file must outlive it. After an error the target holds what was copied so far.
 */
class FilePlacement final
{
public:
    /** Begins: @p partial is open, or is nothing but a name for an empty target. */
    FilePlacement(QFile& partial, const QString& path);

    /** Takes the next step; false when there is none. */
    [[nodiscard]] bool step();

    /** The target could be made or opened. */
    [[nodiscard]] bool isOpened() const { return m_isOpened; }
    /** The partial file has become the target: there is nothing left to remove. */
    [[nodiscard]] bool isRenamed() const { return m_isRenamed; }
    /** What the system said of a file that could not be opened, read or written; else empty. */
    [[nodiscard]] QString systemError() const { return m_systemError; }

private:
    QFile& m_partial;
    QFile m_target;
    QByteArray m_buffer;
    QString m_systemError;
    bool m_isCopying = false;
    bool m_isOpened = false;
    bool m_isRenamed = false;

    [[nodiscard]] bool isRenamedTo(const QString& path);
    [[nodiscard]] bool end(const QString& error);
};

} // namespace zk

#pragma once

#include "support/ZipDevice.h"

#include <QHash>
#include <QRegExp>
#include <QString>
#include <QStringList>

#include <memory>

namespace zk {

class ZipArchive;

/**
 * Reads and unpacks a zip archive from an untrusted source.
 *
 * An archive is accepted or refused as a whole. It is refused for entries that are absolute, lead
 * out of the target, have a name that is unsafe on any platform, occur twice (ignoring case), are
 * links, encrypted or damaged, or declare wrong sizes. Failures throw an IOException that names the
 * archive and the entry.
 *
 * Works in the caller's thread; abort() may be called from any. Must not be destroyed from a slot
 * of writeBytes().
 */
class SOFTWAREUPDATE_EXPORT ZipReader : public ZipDevice
{
    Q_OBJECT

public:
    /** For the archive @p zipFile, which open() opens. Owned by @p parent, if there is one. */
    explicit ZipReader(const QString& zipFile, QObject* parent = nullptr);
    ~ZipReader() override;

    /**
     * Opens the archive and checks the central directory. No flags mean reading, the only supported
     * mode. Returns true or throws IOException.
     */
    bool open(QIODevice::OpenMode mode) override;
    /** Closes the archive; an extraction that is running keeps it open until its end. */
    void close() override;

    /**
     * The names of all entries in archive order, folders with a trailing "/"; empty if not open.
     */
    [[nodiscard]] QStringList fileList() const;

    /** The sum of the sizes of @p entries in bytes; unknown names are ignored. */
    [[nodiscard]] qint64 uncompressedSize(const QStringList& entries) const;

    /**
     * Unpacks @p entries below @p targetDir, which is created if it does not exist.
     *
     * @param targetDir the folder, as a path with "/".
     * @param filter selects entries whose whole name it matches; an empty one matches all.
     * @param prefix is removed from names that begin with it.
     * @param overwrite false: an existing file is an error (IOException). True: it is replaced at
     * the very end by a complete file.
     * @param entries names from fileList().
     *
     * Keeps the times of files and, on Unix, their executable bits. Returns the bytes written, the
     * sum of all writeBytes(). After an abort it returns as well, and no file is left. Throws
     * IOException for an entry that is not in the archive, is damaged or cannot be written, and
     * before the first byte if the disk is too small; everything written is removed.
     */
    qint64 extractFiles(const QString& targetDir, const QRegExp& filter, const QString& prefix,
                        bool overwrite, QStringList entries);

    /** Whether the last extractFiles() wrote everything it was asked for. */
    [[nodiscard]] bool isComplete() const;

private:
    const QString m_zipFile;
    // Shared with a running extraction, during which a slot may close the reader.
    std::shared_ptr<ZipArchive> m_archive;
    QHash<QString, int> m_indexes;
    bool m_complete = false;
};

} // namespace zk

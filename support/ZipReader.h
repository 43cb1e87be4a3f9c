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
 * Reads one zip archive and unpacks it, trusting nothing that stands in it.
 *
 * An archive is taken whole or refused whole. Refused are entries that are absolute, lead out of
 * the target, have a name that is not safe on every platform, stand twice (upper and lower case
 * being the same), are links, encrypted, damaged, or lie about their sizes. Failures are an
 * IOException whose message names the archive and the entry.
 *
 * Works in the caller's thread; abort() may be called from any. Must not be destroyed from a slot
 * of writeBytes().
 */
class SOFTWAREUPDATE_EXPORT ZipReader : public ZipDevice
{
    Q_OBJECT

public:
    /** For the archive at the path @p zipFile, which open() opens. Owned by @p parent, if there is
     * one. */
    explicit ZipReader(const QString& zipFile, QObject* parent = nullptr);
    ~ZipReader() override;

    /**
     * Opens the archive and judges all its entries by what the central directory says. No flags
     * mean reading, the only thing there is. Returns true or throws IOException.
     */
    bool open(QIODevice::OpenMode mode) override;
    /** Lets go of the archive; an extraction that runs goes on with it to its end. */
    void close() override;

    /** The names of all entries in archive order, those of folders with "/" at the end; empty when
     * not open. */
    [[nodiscard]] QStringList fileList() const;

    /** The sum of the sizes of @p entries in bytes; names that the archive does not have count
     * nothing. */
    [[nodiscard]] qint64 uncompressedSize(const QStringList& entries) const;

    /**
     * Unpacks @p entries below @p targetDir, which is made where it does not exist.
     *
     * @param targetDir the folder, as a path with "/".
     * @param filter only entries whose whole name it matches; an empty one matches all.
     * @param prefix taken away from names that begin with it; others keep their name.
     * @param overwrite false: a file that exists already is an IOException. True: it is replaced,
     * at the very end and by a complete file.
     * @param entries names as fileList() gives them.
     *
     * Keeps the times of files and, on Unix, their executable bits. Returns the bytes written, the
     * sum of what writeBytes() told. After an abort it returns too, and nothing of the entries is
     * there. Throws IOException for an entry that is not in the archive, that is damaged or cannot
     * be written, and before the first byte when the disk has no room for all; nothing that was
     * written stays behind.
     */
    qint64 extractFiles(const QString& targetDir, const QRegExp& filter, const QString& prefix,
                        bool overwrite, QStringList entries);

    /** Whether the last extractFiles() wrote all that it was asked for, and it is still there. */
    [[nodiscard]] bool isComplete() const;

private:
    const QString m_zipFile;
    // Shared with a running extraction, whose slots may close the reader.
    std::shared_ptr<ZipArchive> m_archive;
    QHash<QString, int> m_indexes;
    bool m_complete = false;
};

} // namespace zk

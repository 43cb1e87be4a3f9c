#pragma once

#include "support/FilePlacement.h"

#include <QByteArray>
#include <QFile>
#include <QLockFile>
#include <QString>

#include <atomic>
#include <memory>
#include <optional>

namespace zk {

class BodyHash;

/**
 * The bytes of a file that have been received so far, on the disk, and what they belong to.
 *
 * One that is kept has a record beside it and survives its object, and the process, so that a later
 * download continues it; any other is removed. Used from one thread at a time; the destructor
 * closes it.
 */
class PartialFile final
{
public:
    /** What the bytes belong to. */
    struct Content
    {
        /** For If-Range; without one the bytes cannot be continued. */
        QByteArray validator;
        /** Size of the whole file, -1 if unknown. */
        qint64 total = -1;
    };
    /** Where a partial file is kept. */
    struct Place
    {
        QString file;
        QString record;
        /** Whose it is: the address and the trusted keys. Another one's bytes are not continued. */
        QByteArray owner;
        std::unique_ptr<QLockFile> lock;
    };

    /** A new one beside @p target, which is not kept; null if it cannot be made. */
    static std::unique_ptr<PartialFile> beside(const QString& target);
    /** The one in @p place, or a new one; null if it cannot be opened. */
    static std::unique_ptr<PartialFile> in(Place place);
    ~PartialFile();
    PartialFile(const PartialFile&) = delete;
    PartialFile& operator=(const PartialFile&) = delete;

    [[nodiscard]] qint64 size() const { return m_size; }
    [[nodiscard]] const Content& content() const { return m_content; }
    /** The folder that must have space for it. */
    [[nodiscard]] QString folder() const;

    /** Hashes everything appended from now on; what is there already by rehash(). */
    void enableHash();
    [[nodiscard]] bool isHashed() const { return m_hash != nullptr; }
    /** Hashes what is there already; false if that failed or @p isCancelled became true. Callable
     * from another thread while this one waits for it. */
    [[nodiscard]] bool rehash(const std::atomic<bool>& isCancelled);
    /** Of all bytes; to be called once, at the end. */
    [[nodiscard]] QByteArray hash();

    /** Drops all bytes and begins those of @p content. */
    [[nodiscard]] bool begin(const Content& content);
    /** Appends all of @p data, or, on a full disk, nothing. */
    [[nodiscard]] bool append(const char* data, qint64 size);
    /** Learns the size that the first answer did not tell. */
    void setTotal(qint64 total) { m_content.total = total; }

    /** Takes the next step towards giving it its name @p path; false when that has ended. */
    [[nodiscard]] bool place(const QString& path);
    /** It has its name. */
    [[nodiscard]] bool isPlaced() const { return m_isPlaced; }
    /** What the system said when something failed; else empty. */
    [[nodiscard]] QString systemError() const { return m_systemError; }

private:
    QFile m_file;
    Place m_place;
    Content m_content;
    qint64 m_size = 0;
    std::unique_ptr<BodyHash> m_hash;
    std::optional<FilePlacement> m_placement;
    QString m_systemError;
    bool m_isPlaced = false;

    PartialFile(const QString& path, Place place);
    [[nodiscard]] bool isKept() const { return !m_place.record.isEmpty(); }
    [[nodiscard]] bool open(QIODevice::OpenMode mode);
    [[nodiscard]] std::optional<Content> readRecord() const;
    [[nodiscard]] bool writeRecord() const;
    [[nodiscard]] bool fail(const QString& reason);
};

} // namespace zk

#pragma once

#include "support/Exception.h"

#include <QString>
#include <QtGlobal>

#include <memory>
#include <vector>

struct zip;
struct zip_file;
struct zip_source;

namespace zk {

/** One entry of the central directory. */
struct ZipEntry
{
    /** As in the archive, with "/" between folders; the name of a folder ends with it. */
    QString name;
    quint64 size = 0;
    quint64 compressedSize = 0;
    quint32 crc = 0;
    quint16 method = 0;
    quint32 unixMode = 0;
    /** Seconds since 1970; -1 if unknown. */
    qint64 modified = -1;

    [[nodiscard]] bool isFolder() const { return name.endsWith(QLatin1Char('/')); }
    /** Packed by deflate; otherwise stored. */
    [[nodiscard]] bool isDeflated() const;
    /** Throws IOException with the reason alone if the contents have another checksum. */
    void checkCrc(quint32 found) const;
    /** What to throw if the contents have another size. */
    [[nodiscard]] static IOException wrongSize();
};

/**
 * An open archive whose central directory has passed all checks.
 *
 * Use it in one thread at a time.
 */
class ZipArchive
{
public:
    /** Reads the bytes of one entry sequentially. */
    class Stream
    {
    public:
        /** Reads up to @p size bytes; 0 at the end. Throws IOException with the reason alone. */
        qint64 read(char* data, qint64 size);
        /** Fills @p data; throws IOException with the reason alone if the entry is shorter. */
        void readFully(char* data, qint64 size);

    private:
        friend class ZipArchive;
        struct Closer
        {
            void operator()(zip_file* file) const;
        };
        explicit Stream(zip_file* file);

        std::unique_ptr<zip_file, Closer> m_file;
    };
    enum class Form { Raw, Inflated };

    /**
     * Throws IOException if the archive cannot be read or an entry must not be unpacked; the
     * message names the first such entry.
     */
    explicit ZipArchive(QString path);
    ~ZipArchive();
    ZipArchive(const ZipArchive&) = delete;
    ZipArchive& operator=(const ZipArchive&) = delete;

    /** In archive order. */
    [[nodiscard]] const std::vector<ZipEntry>& entries() const { return m_entries; }

    /** Opens entry number @p index; throws IOException with the reason alone. */
    [[nodiscard]] Stream stream(std::size_t index, Form form) const;

    /**
     * Where in the file the packed bytes of entry number @p index begin; 0 if there are none.
     * Throws IOException with the reason alone.
     */
    [[nodiscard]] quint64 dataOffset(std::size_t index) const;

    /** The exception that refuses this archive because of @p reason. */
    [[nodiscard]] IOException refusal(const QString& reason) const;
    /** The exception that refuses this archive because of one entry: "... entry 'name'
     * <complaint>". */
    [[nodiscard]] IOException refusal(const QString& entryName, const QString& complaint) const;

private:
    struct Closer
    {
        void operator()(zip* archive) const;
    };

    void open();
    void readDirectory();
    [[nodiscard]] ZipEntry readEntry(quint64 index) const;
    void checkNames() const;

    QString m_path;
    quint64 m_fileSize = 0;
    std::unique_ptr<zip, Closer> m_zip;
    /** The archive's file, which belongs to m_zip. */
    zip_source* m_source = nullptr;
    std::vector<ZipEntry> m_entries;
};

} // namespace zk

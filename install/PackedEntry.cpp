#include "install/PackedEntry.h"

#include "support/FilePlacement.h"

#include <QByteArray>
#include <QFile>

#include <zlib.h>

#include <memory>

namespace zk {

namespace {

constexpr int pieceSize = 256 * 1024;

struct InflateCloser
{
    void operator()(z_stream* stream) const
    {
        inflateEnd(stream);
        delete stream;
    }
};

/** Of bytes without a header (RFC 1951); null if there is no memory. */
std::unique_ptr<z_stream, InflateCloser> makeInflater()
{
    auto stream = std::make_unique<z_stream>();
    constexpr int rawWindow = -15;
    if (inflateInit2(stream.get(), rawWindow) != Z_OK) {
        return nullptr;
    }
    return std::unique_ptr<z_stream, InflateCloser>(stream.release());
}

} // namespace

PackedEntry::PackedEntry(QFile& section, qint64 offset, const trust::ManifestFile& file)
    : m_section(section)
    , m_offset(offset)
    , m_file(file)
{
}

bool PackedEntry::read(const std::atomic<bool>& isCancelled, const Taker& take) const
{
    QByteArray piece(pieceSize, Qt::Uninitialized);
    auto left = qint64(m_file.packedSize);
    bool isFine = m_section.seek(m_offset);
    while (isFine && left > 0 && !isCancelled) {
        const qint64 length = m_section.read(piece.data(), qMin<qint64>(left, pieceSize));
        isFine = length > 0 && take(piece.constData(), length);
        left -= length;
    }
    return isFine && left == 0;
}

bool PackedEntry::isRight(const std::atomic<bool>& isCancelled) const
{
    trust::Blake2b256 hash;
    const bool isRead = read(isCancelled, [&hash](const char* data, qint64 size) {
        hash.add({data, std::size_t(size)});
        return true;
    });
    return isRead && hash.result() == m_file.packedHash;
}

bool PackedEntry::unpack(QFile& target, const std::atomic<bool>& isCancelled) const
{
    trust::Blake2b256 hash;
    quint64 written = 0;
    const Taker write = [&](const char* data, qint64 size) {
        written += quint64(size);
        hash.add({data, std::size_t(size)});
        return written <= m_file.size && writeAll(target, data, size);
    };
    const bool isFine = m_file.method == trust::ManifestFile::eDeflated
                            ? inflate(isCancelled, write)
                            : read(isCancelled, write);
    return isFine && written == m_file.size && hash.result() == m_file.hash;
}

bool PackedEntry::inflate(const std::atomic<bool>& isCancelled, const Taker& take) const
{
    const auto stream = makeInflater();
    QByteArray piece(pieceSize, Qt::Uninitialized);
    int state = Z_OK;
    const auto inflatePiece = [&](const char* data, qint64 size) {
        // zlib does not write to it, in spite of its type.
        stream->next_in = reinterpret_cast<Bytef*>(const_cast<char*>(data));
        stream->avail_in = uInt(size);
        do {
            stream->next_out = reinterpret_cast<Bytef*>(piece.data());
            stream->avail_out = uInt(pieceSize);
            state = ::inflate(stream.get(), Z_NO_FLUSH);
            if (!take(piece.constData(), pieceSize - qint64(stream->avail_out))) {
                return false;
            }
        } while (state == Z_OK && (stream->avail_in > 0 || stream->avail_out == 0));
        // Nothing may follow the end.
        return (state == Z_STREAM_END && stream->avail_in == 0) || state == Z_OK ||
               state == Z_BUF_ERROR;
    };
    return stream && read(isCancelled, inflatePiece) && state == Z_STREAM_END;
}

} // namespace zk

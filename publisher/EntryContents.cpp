#include "publisher/EntryContents.h"

#include <QByteArray>

#include <zlib.h>

#include <array>
#include <new>

namespace publisher {

namespace {

// zlib does not write to its input; without ZLIB_CONST its type does not say so.
Bytef* inputOf(std::string_view bytes)
{
    return reinterpret_cast<Bytef*>(const_cast<char*>(bytes.data()));
}

} // namespace

EntryContents::EntryContents(const zk::ZipEntry& entry)
    : m_entry(entry)
{
    if (!entry.isDeflated()) {
        return;
    }
    m_inflater = std::make_unique<z_stream_s>();
    constexpr int rawWindow = -MAX_WBITS; // no header, no checksum
    if (inflateInit2(m_inflater.get(), rawWindow) != Z_OK) {
        throw std::bad_alloc();
    }
}

EntryContents::~EntryContents()
{
    if (m_inflater) {
        inflateEnd(m_inflater.get());
    }
}

void EntryContents::addPacked(std::string_view packed)
{
    if (!m_inflater) {
        add(packed);
        return;
    }
    constexpr std::size_t pieceSize = std::size_t(64) * 1024;
    std::array<char, pieceSize> piece;
    m_inflater->next_in = inputOf(packed);
    m_inflater->avail_in = uInt(packed.size());
    do {
        m_inflater->next_out = reinterpret_cast<Bytef*>(piece.data());
        m_inflater->avail_out = uInt(piece.size());
        const int result = inflate(m_inflater.get(), Z_NO_FLUSH);
        // Z_BUF_ERROR: it needs the next of the packed bytes.
        if (result != Z_OK && result != Z_STREAM_END && result != Z_BUF_ERROR) {
            throw zk::IOException(QStringLiteral("is damaged: its data cannot be inflated"));
        }
        add({piece.data(), piece.size() - m_inflater->avail_out});
        m_isAtEnd = result == Z_STREAM_END;
    } while (!m_isAtEnd && m_inflater->avail_out == 0);
    if (m_inflater->avail_in > 0) {
        throw zk::ZipEntry::wrongSize();
    }
}

void EntryContents::add(std::string_view bytes)
{
    m_hash.add(bytes);
    m_crc = quint32(crc32(m_crc, inputOf(bytes), uInt(bytes.size())));
    m_size += bytes.size();
    // At once, so that the entry cannot inflate without end.
    if (m_size > m_entry.size) {
        throw zk::ZipEntry::wrongSize();
    }
}

trust::Blake2b256::Digest EntryContents::hash()
{
    if (m_size != m_entry.size || (m_inflater && !m_isAtEnd)) {
        throw zk::ZipEntry::wrongSize();
    }
    m_entry.checkCrc(m_crc);
    return m_hash.result();
}

} // namespace publisher

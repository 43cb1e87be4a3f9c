#pragma once

#include "Files.h"

#include <QByteArray>

#include <optional>

namespace zk::test {

/** One entry as ZipBuilder writes it; what is not set is what an honest archiver would write. */
struct ZipItem
{
    QByteArray name;
    QByteArray data;
    bool deflate = true;
    quint16 flags = 0x0800; // the name is UTF-8
    quint16 system = 3;     // Unix
    quint32 unixMode = 0100644;
    std::optional<quint16> method;
    std::optional<quint32> crc;
    std::optional<quint64> size;
    std::optional<quint64> compressedSize;
    /** Written after the entry's data and counted as part of it. */
    QByteArray junk;
    QByteArray extra;
    bool zip64 = false;
    quint32 windowsAttributes = 0;

    /** The same entry with another value in one field. */
    template <typename Field>
    ZipItem with(Field ZipItem::*field, const std::common_type_t<Field>& value) const
    {
        ZipItem changed = *this;
        changed.*field = value;
        return changed;
    }
};

/** An entry that is deflated, or stored as it is. */
inline ZipItem entry(const QByteArray& name, const QByteArray& data = "evil", bool deflate = true)
{
    ZipItem result;
    result.name = name;
    result.data = data;
    result.deflate = deflate;
    return result;
}

/** Writes zip archives byte by byte, so that those can be made that no archiver makes. */
class ZipBuilder
{
public:
    ZipBuilder& add(const ZipItem& item);
    ZipBuilder& add(const QByteArray& name, const QByteArray& data = "data");

    /** The finished archive; the number of entries and the end's offset may lie. */
    QByteArray bytes() const;
    void write(const QString& path) const;

    std::optional<quint64> claimedEntries;
    bool zip64End = false;
    /** So many bytes, which take no space, stand before the directory in a file; needs zip64End. */
    qint64 hole = 0;

private:
    QByteArray m_local;
    QByteArray m_central;
    quint64 m_count = 0;
};

} // namespace zk::test

#include "ZipBuilder.h"

#include <QFile>
#include <QtEndian>

namespace zk::test {

namespace {

template <typename Number>
void put(QByteArray& out, Number number)
{
    const Number little = qToLittleEndian(number);
    out.append(reinterpret_cast<const char*>(&little), int(sizeof(little)));
}

quint32 crc32(const QByteArray& data)
{
    quint32 crc = ~0U;
    for (const char byte : data) {
        crc ^= quint8(byte);
        for (int bit = 0; bit < 8; ++bit) {
            crc = (crc & 1) != 0 ? 0xedb88320U ^ (crc >> 1) : crc >> 1;
        }
    }
    return ~crc;
}

QByteArray rawDeflate(const QByteArray& data)
{
    // Qt's length, zlib's header before and its checksum behind are not part of the raw data.
    const QByteArray packed = qCompress(data.isEmpty() ? QByteArray("") : data);
    return data.isEmpty() ? QByteArray("\x03\x00", 2) : packed.mid(6, packed.size() - 10);
}

} // namespace

ZipBuilder& ZipBuilder::add(const QByteArray& name, const QByteArray& data)
{
    ZipItem item;
    item.name = name;
    item.deflate = !name.endsWith('/');
    item.data = item.deflate ? data : QByteArray();
    item.unixMode = item.deflate ? 0100644 : 0040755;
    return add(item);
}

ZipBuilder& ZipBuilder::add(const ZipItem& item)
{
    const QByteArray packed = (item.deflate ? rawDeflate(item.data) : item.data) + item.junk;
    const quint64 size = item.size.value_or(quint64(item.data.size()));
    const quint64 compressedSize = item.compressedSize.value_or(quint64(packed.size()));
    QByteArray extra = item.extra;
    if (item.zip64) {
        put<quint32>(extra, 16U << 16 | 1);
        put<quint64>(extra, size);
        put<quint64>(extra, compressedSize);
    }
    QByteArray common;
    put<quint16>(common, item.zip64 ? 45 : 20);
    put<quint16>(common, item.flags);
    put<quint16>(common, item.method.value_or(item.deflate ? 8 : 0));
    put<quint32>(common, 0x54216000); // 2022-01-01, 12:00:00
    put<quint32>(common, item.crc.value_or(crc32(item.data)));
    put<quint32>(common, item.zip64 ? 0xffffffffU : quint32(compressedSize));
    put<quint32>(common, item.zip64 ? 0xffffffffU : quint32(size));
    put<quint16>(common, quint16(item.name.size()));
    put<quint16>(common, quint16(extra.size()));

    const auto offset = quint32(m_local.size());
    m_local += "PK\x03\x04" + common + item.name + extra + packed;

    m_central += "PK\x01\x02";
    put<quint16>(m_central, quint16(item.system << 8 | 45));
    m_central += common;
    m_central += QByteArray(6, '\0'); // comment, disk
    put<quint32>(m_central, item.unixMode << 16 | item.windowsAttributes);
    put<quint32>(m_central, offset);
    m_central += item.name + extra;
    ++m_count;
    return *this;
}

QByteArray ZipBuilder::bytes() const
{
    QByteArray out = m_local + m_central;
    const quint64 count = claimedEntries.value_or(m_count);
    const bool wide = zip64End || count > 0xfffe;
    if (wide) {
        const auto end = quint64(out.size());
        out += "PK\x06\x06";
        put<quint64>(out, 44);
        put<quint32>(out, 45U << 16 | 45); // versions
        put<quint64>(out, 0);              // disks
        put<quint64>(out, count);
        put<quint64>(out, count);
        put<quint64>(out, quint64(m_central.size()));
        put<quint64>(out, quint64(m_local.size()));
        out += "PK\x06\x07";
        put<quint32>(out, 0);
        put<quint64>(out, end);
        put<quint32>(out, 1);
    }
    out += "PK\x05\x06";
    put<quint32>(out, 0);
    put<quint16>(out, wide ? 0xffff : quint16(count));
    put<quint16>(out, wide ? 0xffff : quint16(count));
    put<quint32>(out, wide ? 0xffffffffU : quint32(m_central.size()));
    put<quint32>(out, wide ? 0xffffffffU : quint32(m_local.size()));
    put<quint16>(out, 0);
    return out;
}

void ZipBuilder::write(const QString& path) const
{
    writeFile(path, bytes());
}

void writeFile(const QString& path, const QByteArray& data)
{
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(data) != data.size()) {
        qFatal("cannot write %s", qPrintable(path));
    }
}

QByteArray readFile(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

} // namespace zk::test

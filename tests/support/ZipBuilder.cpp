#include "ZipBuilder.h"

#include <QDataStream>

namespace zk::test {

namespace {

/** The numbers as they stand in archives, each as wide as its type. */
template <typename... Numbers>
QByteArray raw(Numbers... numbers)
{
    QByteArray out;
    QDataStream stream(&out, QIODevice::WriteOnly);
    stream.setByteOrder(QDataStream::LittleEndian);
    (stream << ... << numbers);
    return out;
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
    const bool isDir = name.endsWith('/');
    return add(isDir ? entry(name, {}, false).with(&ZipItem::unixMode, 040755) : entry(name, data));
}

ZipBuilder& ZipBuilder::add(const ZipItem& item)
{
    const QByteArray packed = (item.deflate ? rawDeflate(item.data) : item.data) + item.junk;
    const auto size = item.size.value_or(quint64(item.data.size()));
    const auto packedSize = item.compressedSize.value_or(quint64(packed.size()));
    const QByteArray extra =
        item.zip64 ? item.extra + raw(quint16(1), quint16(16), size, packedSize) : item.extra;
    const QByteArray common =
        raw(quint16(item.zip64 ? 45 : 20), item.flags, item.method.value_or(item.deflate ? 8 : 0),
            quint32(0x54216000), // 2022-01-01, 12:00:00
            item.crc.value_or(crc32(item.data)), item.zip64 ? ~0U : quint32(packedSize),
            item.zip64 ? ~0U : quint32(size), quint16(item.name.size()), quint16(extra.size()));
    m_central += "PK\x01\x02" + raw(quint16(item.system << 8 | 45)) + common +
                 raw(quint16(0), quint16(0), quint16(0), // comment, disk, kind of data
                     item.unixMode << 16 | item.windowsAttributes, quint32(m_local.size())) +
                 item.name + extra;
    m_local += "PK\x03\x04" + common + item.name + extra + packed;
    ++m_count;
    return *this;
}

QByteArray ZipBuilder::bytes() const
{
    const quint64 count = claimedEntries.value_or(m_count);
    const bool wide = zip64End || count > 0xfffe;
    const auto begin = quint64(m_local.size() + hole);
    const auto size = quint64(m_central.size());
    QByteArray out = m_local + m_central;
    if (wide) {
        out += "PK\x06\x06" +
               raw(quint64(44), quint16(45), quint16(45), quint64(0), count, count, size, begin);
        out += "PK\x06\x07" + raw(quint32(0), begin + size, quint32(1));
    }
    const auto shortCount = quint16(wide ? 0xffff : count);
    return out + "PK\x05\x06" +
           raw(quint32(0), shortCount, shortCount, wide ? ~0U : quint32(size),
               wide ? ~0U : quint32(begin), quint16(0));
}

void ZipBuilder::write(const QString& path) const
{
    const QByteArray all = bytes();
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(all.left(m_local.size())) < 0 ||
        !file.seek(m_local.size() + hole) || file.write(all.mid(m_local.size())) < 0) {
        qFatal("cannot write %s", qPrintable(path));
    }
}

} // namespace zk::test

#include "demo/Archive.h"

#include <QDataStream>
#include <QIODevice>

#include <array>

namespace demo {

namespace {

std::array<quint32, 256> crcTable()
{
    std::array<quint32, 256> table{};
    for (quint32 index = 0; index < table.size(); ++index) {
        quint32 value = index;
        for (int bit = 0; bit < 8; ++bit) {
            value = (value >> 1) ^ ((value & 1) != 0 ? 0xedb88320U : 0U);
        }
        table[index] = value;
    }
    return table;
}

quint32 crc32(const QByteArray& data)
{
    static const std::array<quint32, 256> table = crcTable();
    quint32 crc = 0xffffffffU;
    for (const char byte : data) {
        crc = table[(crc ^ quint8(byte)) & 0xff] ^ (crc >> 8);
    }
    return ~crc;
}

/** The fields common to the local header and the directory entry. */
void writeEntryFields(QDataStream& stream, const QByteArray& name, const QByteArray& contents)
{
    constexpr quint16 versionNeeded = 20;
    constexpr quint16 utf8Name = 0x0800;
    constexpr quint16 stored = 0;
    constexpr quint16 noon = 12 << 11;
    constexpr quint16 firstOfJanuary2026 = ((2026 - 1980) << 9) | (1 << 5) | 1;
    stream << versionNeeded << utf8Name << stored << noon << firstOfJanuary2026 << crc32(contents)
           << quint32(contents.size()) << quint32(contents.size()) << quint16(name.size())
           << quint16(0);
}

} // namespace

QByteArray storedZip(const QList<ArchiveFile>& files)
{
    QByteArray archive;
    QByteArray directory;
    QDataStream out(&archive, QIODevice::WriteOnly);
    QDataStream index(&directory, QIODevice::WriteOnly);
    out.setByteOrder(QDataStream::LittleEndian);
    index.setByteOrder(QDataStream::LittleEndian);
    constexpr quint16 madeOnUnix = (3 << 8) | 20;
    for (const auto& file : files) {
        const QByteArray name = file.name.toUtf8();
        const auto offset = quint32(archive.size());
        out << quint32(0x04034b50);
        writeEntryFields(out, name, file.contents);
        out.writeRawData(name.constData(), name.size());
        out.writeRawData(file.contents.constData(), file.contents.size());

        index << quint32(0x02014b50) << madeOnUnix;
        writeEntryFields(index, name, file.contents);
        const quint32 mode = file.isProgram ? 0100755 : 0100644;
        index << quint16(0) << quint16(0) << quint16(0) << (mode << 16) << offset;
        index.writeRawData(name.constData(), name.size());
    }
    const auto directoryOffset = quint32(archive.size());
    out.writeRawData(directory.constData(), directory.size());
    out << quint32(0x06054b50) << quint16(0) << quint16(0) << quint16(files.size())
        << quint16(files.size()) << quint32(directory.size()) << directoryOffset << quint16(0);
    return archive;
}

} // namespace demo

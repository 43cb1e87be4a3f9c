#include "publisher/PatchFile.h"

#include "download/FileHash.h"

#include <QFile>
#include <QStringList>
#include <QtEndian>

#include <sodium.h>

#include <algorithm>

namespace publisher {

namespace {

constexpr quint32 skippableMagic = 0x184D2A50;
constexpr int frameHeaderSize = 8;
/** Far more than the words of a header take. */
constexpr quint32 largestHeader = 1000;

template <typename Number>
void append(QByteArray& bytes, Number number)
{
    const Number little = qToLittleEndian(number);
    bytes.append(reinterpret_cast<const char*>(&little), sizeof(little));
}

bool parseDigest(const QByteArray& text, trust::Blake2b256::Digest& digest)
{
    std::size_t size = 0;
    return sodium_hex2bin(digest.data(), digest.size(), text.constData(), std::size_t(text.size()),
                          nullptr, &size, nullptr) == 0 &&
           size == digest.size();
}

/** What a header says, before the patch's place in the file is known. */
bool parseHeader(const QByteArray& text, PatchRecord& record)
{
    const QList<QByteArray> words = text.trimmed().split(' ');
    if (words.size() != 4) {
        return false;
    }
    bool isSize = false;
    bool isOldSize = false;
    record.patch.oldSize = words[0].toULongLong(&isOldSize);
    record.patch.size = words[3].toULongLong(&isSize);
    return isOldSize && isSize && record.patch.size <= trust::maximumPatchSize &&
           parseDigest(words[1], record.patch.oldHash) && parseDigest(words[2], record.newHash);
}

/** The next patch of the file; false if there is something else. */
bool readRecord(QFile& file, PatchRecord& record)
{
    const QByteArray frame = file.read(frameHeaderSize);
    if (frame.size() != frameHeaderSize ||
        qFromLittleEndian<quint32>(frame.constData()) != skippableMagic) {
        return false;
    }
    const auto size = qFromLittleEndian<quint32>(frame.constData() + sizeof(quint32));
    if (size > largestHeader || !parseHeader(file.read(size), record)) {
        return false;
    }
    record.patch.offset = quint64(file.pos());
    const QByteArray bytes = file.read(qint64(record.patch.size));
    record.patch.hash = trust::Blake2b256::of(zk::viewOf(bytes));
    return quint64(bytes.size()) == record.patch.size;
}

} // namespace

QByteArray patchHeader(const PatchRecord& record)
{
    const QByteArray text = QByteArray::number(qulonglong(record.patch.oldSize)) + ' ' +
                            QByteArray::fromStdString(trust::hexText(record.patch.oldHash)) + ' ' +
                            QByteArray::fromStdString(trust::hexText(record.newHash)) + ' ' +
                            QByteArray::number(qulonglong(record.patch.size)) + '\n';
    QByteArray frame;
    append(frame, skippableMagic);
    append(frame, quint32(text.size()));
    return frame + text;
}

std::variant<std::vector<PatchRecord>, QString> readPatchFile(const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        return QStringLiteral("%1: %2").arg(path, file.errorString());
    }
    std::vector<PatchRecord> records;
    while (!file.atEnd()) {
        records.emplace_back();
        if (!readRecord(file, records.back())) {
            return QStringLiteral("%1 is not a file of patches, or damaged").arg(path);
        }
    }
    return records;
}

QString addPatches(const QString& zipPath, trust::PackageManifest& manifest)
{
    const QString path = zipPath + QString::fromLatin1(trust::patchesSuffix.data(),
                                                       int(trust::patchesSuffix.size()));
    if (!QFile::exists(path)) {
        return QString();
    }
    const auto read = readPatchFile(path);
    if (const auto* const error = std::get_if<QString>(&read)) {
        return *error;
    }
    for (const PatchRecord& record : std::get<std::vector<PatchRecord>>(read)) {
        const auto file = std::find_if(
            manifest.files.begin(), manifest.files.end(),
            [&record](const trust::ManifestFile& each) { return each.hash == record.newHash; });
        if (file == manifest.files.end()) {
            return QStringLiteral("%1 was made for another package").arg(path);
        }
        file->patches.push_back(record.patch);
    }
    manifest.patchesSize = quint64(QFile(path).size());
    return QString();
}

} // namespace publisher

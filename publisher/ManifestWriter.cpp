#include "publisher/ManifestWriter.h"

#include "publisher/EntryContents.h"
#include "publisher/PatchFile.h"

#include "download/FileHash.h"
#include "support/ZipArchive.h"
#include "support/ZipEntryNames.h"

#include <QFile>
#include <QFileInfo>

#include <algorithm>
#include <array>

namespace publisher {

namespace {

using zk::IOException;
using zk::ZipArchive;
using zk::ZipEntry;

IOException unreadable(const QFile& file)
{
    return IOException(QStringLiteral("cannot be read: %1").arg(file.errorString()));
}

/** Hashes the packed bytes at @p result's offset and what is in them. Throws the reason alone. */
void hashEntry(QFile& file, const ZipEntry& entry, trust::ManifestFile& result)
{
    constexpr qint64 pieceSize = 64LL * 1024;
    std::array<char, pieceSize> piece;
    trust::Blake2b256 packedHash;
    EntryContents contents(entry);
    if (!file.seek(qint64(result.offset))) {
        throw unreadable(file);
    }
    for (auto left = qint64(entry.compressedSize); left > 0;) {
        const qint64 size = file.read(piece.data(), qMin(left, pieceSize));
        if (size <= 0) {
            throw unreadable(file);
        }
        const std::string_view bytes(piece.data(), std::size_t(size));
        packedHash.add(bytes);
        contents.addPacked(bytes);
        left -= size;
    }
    result.packedHash = packedHash.result();
    result.hash = contents.hash();
}

trust::ManifestFile describe(const ZipArchive& archive, std::size_t index, QFile& file)
{
    constexpr quint32 permissionBits = 0777;
    const ZipEntry& entry = archive.entries()[index];
    trust::ManifestFile result;
    result.path = zk::withoutDotPrefix(entry.name).toStdString();
    result.offset = archive.dataOffset(index);
    result.packedSize = entry.compressedSize;
    result.method =
        entry.isDeflated() ? trust::ManifestFile::eDeflated : trust::ManifestFile::eStored;
    result.size = entry.size;
    if (entry.unixMode != 0) {
        result.mode = entry.unixMode & permissionBits;
    }
    hashEntry(file, entry, result);
    return result;
}

/** Adds folders and files of the archive, which is open a second time as @p file. */
void readEntries(const ZipArchive& archive, QFile& file, trust::PackageManifest& manifest)
{
    for (std::size_t i = 0; i < archive.entries().size(); ++i) {
        const ZipEntry& entry = archive.entries()[i];
        const QString name = zk::withoutDotPrefix(entry.name);
        try {
            if (!entry.isFolder()) {
                manifest.files.push_back(describe(archive, i, file));
            } else if (!name.isEmpty()) {
                manifest.folders.push_back(name.chopped(1).toStdString());
            }
        } catch (const IOException& error) {
            throw archive.refusal(entry.name, error.message());
        }
    }
    std::stable_sort(manifest.files.begin(), manifest.files.end(),
                     [](const auto& a, const auto& b) { return a.offset < b.offset; });
}

trust::PackageManifest begin(const QString& zipPath, const PackageIdentity& identity)
{
    trust::PackageManifest manifest;
    manifest.product = identity.product.toStdString();
    QStringList platforms = identity.platforms;
    platforms.sort();
    platforms.removeDuplicates();
    for (const QString& platform : qAsConst(platforms)) {
        manifest.platforms.push_back(platform.toStdString());
    }
    manifest.release = identity.release.toStdString();
    manifest.archive = QFileInfo(zipPath).fileName().toStdString();
    return manifest;
}

/** Why clients would not read @p manifest from its text; empty if they would. */
QString complaintAbout(const trust::PackageManifest& manifest)
{
    const auto parsed = trust::parseManifest(trust::manifestText(manifest));
    if (const auto* const error = std::get_if<std::string>(&parsed)) {
        return QString::fromStdString(*error);
    }
    // Entries have no control characters in their names, but these texts may have line breaks.
    const auto& read = std::get<trust::PackageManifest>(parsed);
    const bool isSame = read.product == manifest.product && read.platforms == manifest.platforms &&
                        read.release == manifest.release && read.archive == manifest.archive;
    return isSame ? QString()
                  : QStringLiteral("product, platform, release or file name has a line break");
}

} // namespace

std::variant<trust::PackageManifest, QString>
manifestOf(const QString& zipPath, const PackageIdentity& identity, Patches patches)
{
    try {
        const ZipArchive archive(zipPath);
        QFile file(zipPath);
        if (!file.open(QIODevice::ReadOnly)) {
            throw archive.refusal(file.errorString());
        }
        trust::PackageManifest manifest = begin(zipPath, identity);
        manifest.archiveSize = quint64(file.size());
        const auto hash = zk::hashOf<trust::Blake2b256>(file);
        if (!hash) {
            throw archive.refusal(file.errorString());
        }
        manifest.archiveHash = *hash;
        readEntries(archive, file, manifest);
        QString complaint = patches == Patches::eNamed ? addPatches(zipPath, manifest) : QString();
        complaint = complaint.isEmpty() ? complaintAbout(manifest) : complaint;
        if (!complaint.isEmpty()) {
            return QStringLiteral("There can be no manifest of '%1': %2.").arg(zipPath, complaint);
        }
        return manifest;
    } catch (const IOException& error) {
        return error.message();
    }
}

} // namespace publisher

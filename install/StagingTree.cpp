#include "install/StagingTree.h"

#include "download/FileHash.h"
#include "install/FilePatch.h"
#include "install/PackedEntry.h"
#include "support/FileMode.h"
#include "support/FilePlacement.h"
#include "support/FileUtils.h"
#include "support/FolderWalk.h"

#include <QDir>
#include <QFile>
#include <QHash>
#include <QSet>

#include <utility>

namespace zk {

namespace {

using trust::Blake2b256;
using trust::ManifestFile;

QString toText(const std::string& utf8)
{
    return QString::fromStdString(utf8);
}

} // namespace

StagingTree::StagingTree(DownloadCache::Staging staging, trust::PackageManifest manifest)
    : m_staging(std::move(staging))
    , m_tree(m_staging.folder + QStringLiteral("/tree"))
    , m_manifest(std::move(manifest))
{
}

StagingTree::~StagingTree() = default;

QString StagingTree::sectionPath() const
{
    return m_staging.folder + QStringLiteral("/section");
}

QString StagingTree::newPath() const
{
    return m_staging.folder + QStringLiteral("/new");
}

QString StagingTree::path(const ManifestFile& file) const
{
    return m_tree + QLatin1Char('/') + toText(file.path);
}

bool StagingTree::hasContents(const QString& path, const ManifestFile& file,
                              const Cancelled& isCancelled) const
{
    QFile candidate(path);
    if (!candidate.open(QIODevice::ReadOnly) || candidate.size() != qint64(file.size)) {
        return false;
    }
    const auto hash = hashOf<Blake2b256>(
        candidate, [&isCancelled](qint64 /*done*/) { return !isCancelled.load(); });
    return hash && *hash == file.hash;
}

std::vector<std::size_t> StagingTree::survey(const Cancelled& isCancelled)
{
    std::vector<bool> isThere(m_manifest.files.size(), false);
    removeOthers(isThere, isCancelled);
    makeFolders();
    std::vector<std::size_t> missing;
    for (std::size_t i = 0; i < isThere.size(); ++i) {
        const ManifestFile& file = m_manifest.files[i];
        QFile made(newPath());
        const bool isMade =
            !isThere[i] && !isCancelled && file.size == 0 && file.hash == Blake2b256::of({}) &&
            made.open(QIODevice::WriteOnly | QIODevice::Truncate) && place(made, file);
        if (!isMade && (!isThere[i] || isCancelled)) {
            missing.push_back(i);
        }
    }
    return missing;
}

void StagingTree::removeOthers(std::vector<bool>& isThere, const Cancelled& isCancelled) const
{
    QHash<QString, std::size_t> files;
    QSet<QString> folders;
    const auto addFolders = [&folders](QString folder) {
        while (!folder.isEmpty() && !folders.contains(folder)) {
            folders.insert(folder);
            folder = folder.left(qMax(0, folder.lastIndexOf(QLatin1Char('/'))));
        }
    };
    for (const std::string& folder : m_manifest.folders) {
        addFolders(toText(folder));
    }
    for (std::size_t i = 0; i < m_manifest.files.size(); ++i) {
        const QString name = toText(m_manifest.files[i].path);
        files.insert(name, i);
        addFolders(name.left(qMax(0, name.lastIndexOf(QLatin1Char('/')))));
    }
    QStringList others;
    walkFolder(m_tree, [&](const QFileInfo& info) {
        const QString name = info.filePath().mid(m_tree.size() + 1);
        const auto file = files.constFind(name);
        const bool isFolder = info.isDir() && !isLink(info) && folders.contains(name);
        const bool isFile = file != files.constEnd() && isPlainFile(info) &&
                            hasContents(info.filePath(), m_manifest.files[*file], isCancelled);
        if (isFile) {
            isThere[*file] = true;
        } else if (!isFolder) {
            others << info.filePath();
        }
        return !isCancelled;
    });
    for (const QString& other : std::as_const(others)) {
        (void)(isCancelled || FileUtils::erase(other)); // what cannot be removed is found again
    }
}

void StagingTree::makeFolders() const
{
    QSet<QString> made;
    const auto make = [&made](const QString& folder) {
        if (!made.contains(folder)) {
            made.insert(folder);
            (void)QDir().mkpath(folder); // files in it fail otherwise
        }
    };
    make(m_tree);
    for (const std::string& folder : m_manifest.folders) {
        make(m_tree + QLatin1Char('/') + toText(folder));
    }
    for (const ManifestFile& file : m_manifest.files) {
        make(path(file).section(QLatin1Char('/'), 0, -2));
    }
}

bool StagingTree::copy(std::size_t position, const QString& source, const Cancelled& isCancelled)
{
    const ManifestFile& file = m_manifest.files[position];
    QFile from(source);
    QFile to(newPath());
    if (!isPlainFile(QFileInfo(source)) || !from.open(QIODevice::ReadOnly) ||
        !to.open(QIODevice::WriteOnly | QIODevice::Truncate | QIODevice::Unbuffered)) {
        return false;
    }
    constexpr int pieceSize = 1024 * 1024;
    QByteArray piece(pieceSize, Qt::Uninitialized);
    Blake2b256 hash; // of what is written: the source may change at any moment
    auto left = qint64(file.size);
    while (left > 0 && !isCancelled) {
        const qint64 length = from.read(piece.data(), qMin<qint64>(left, pieceSize));
        if (length <= 0 || !writeAll(to, piece.constData(), length)) {
            return false;
        }
        hash.add({piece.constData(), std::size_t(length)});
        left -= length;
    }
    return left == 0 && hash.result() == file.hash && place(to, file);
}

bool StagingTree::unpack(std::size_t position, QFile& section, qint64 offset,
                         const Cancelled& isCancelled)
{
    const ManifestFile& file = m_manifest.files[position];
    const PackedEntry entry(section, offset, file);
    QFile to(newPath());
    return entry.isRight(isCancelled) &&
           to.open(QIODevice::WriteOnly | QIODevice::Truncate | QIODevice::Unbuffered) &&
           entry.unpack(to, isCancelled) && place(to, file);
}

bool StagingTree::applyPatch(std::size_t position, const trust::ManifestPatch& patch,
                             QFile& section, qint64 offset, const QString& oldPath,
                             const Cancelled& isCancelled)
{
    const ManifestFile& file = m_manifest.files[position];
    const QByteArray bytes = section.seek(offset) ? section.read(qint64(patch.size)) : QByteArray();
    QFile to(newPath());
    return quint64(bytes.size()) == patch.size && Blake2b256::of(viewOf(bytes)) == patch.hash &&
           to.open(QIODevice::WriteOnly | QIODevice::Truncate | QIODevice::Unbuffered) &&
           zk::applyPatch(bytes, oldPath, file, to, isCancelled) && place(to, file);
}

bool StagingTree::place(QFile& file, const ManifestFile& target) const
{
    const bool isFine = setExecutable(file, target.mode.value_or(0));
    file.close();
    return isFine && file.error() == QFileDevice::NoError &&
           renameInPlace(file.fileName(), path(target));
}

bool StagingTree::writeManifest(const QByteArray& text, const QString& program) const
{
    QString root = m_tree + QLatin1Char('/');
    // As UpdateInstaller finds the application in what was unpacked.
    const QStringList folders = QDir(root).entryList(QDir::Dirs | QDir::NoDotAndDotDot);
    const QString only = folders.size() == 1 ? folders.constFirst() + QLatin1Char('/') : QString();
    if (!QFileInfo(root + program).isFile() && QFileInfo(root + only + program).isFile()) {
        root += only;
    }
    QFile file(root + QString::fromLatin1(trust::installedManifestName.data(),
                                          int(trust::installedManifestName.size())));
    return file.open(QIODevice::WriteOnly) && writeAll(file, text.constData(), text.size()) &&
           file.flush();
}

bool StagingTree::isIntact() const
{
    for (const ManifestFile& file : m_manifest.files) {
        const QFileInfo info(path(file));
        if (!isPlainFile(info) || info.size() != qint64(file.size)) {
            return false;
        }
    }
    return true;
}

} // namespace zk

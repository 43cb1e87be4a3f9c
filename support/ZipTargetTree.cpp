#include "support/ZipTargetTree.h"

#include "support/Exception.h"
#include "support/FilePlacement.h"
#include "support/FolderWalk.h"
#include "support/Log.h"

#include <QDir>
#include <QFileInfo>

#include <filesystem>

namespace zk {

namespace {

bool isThere(const QFileInfo& info)
{
    return info.exists() || isLink(info);
}

} // namespace

ZipTargetTree::ZipTargetTree(const QString& folder, Existing existing)
    : m_base(QDir::cleanPath(folder))
    , m_existing(existing)
{
    try {
        makeBase(m_base);
    } catch (...) {
        rollBack();
        throw;
    }
    if (!m_base.endsWith(QLatin1Char('/'))) {
        m_base += QLatin1Char('/');
    }
}

ZipTargetTree::~ZipTargetTree()
{
    if (!m_committed) {
        rollBack();
    }
}

void ZipTargetTree::makeBase(const QString& folder)
{
    const QFileInfo info(folder);
    if (info.isDir()) {
        return;
    }
    const QString parent = info.path();
    if (isThere(info) || parent == folder) {
        throw IOException(
            QStringLiteral("'%1' is not a folder").arg(QDir::toNativeSeparators(folder)));
    }
    makeBase(parent);
    if (!QDir().mkdir(folder)) {
        throw IOException(QStringLiteral("the folder '%1' cannot be created")
                              .arg(QDir::toNativeSeparators(folder)));
    }
    m_madeFolders << folder;
}

void ZipTargetTree::makeFolder(const QString& relativePath)
{
    if (m_knownFolders.contains(relativePath)) {
        return;
    }
    for (int end = relativePath.indexOf(QLatin1Char('/')); end >= 0;
         end = relativePath.indexOf(QLatin1Char('/'), end + 1)) {
        checkedMakeFolder(relativePath.left(end));
    }
    checkedMakeFolder(relativePath);
}

void ZipTargetTree::checkedMakeFolder(const QString& path)
{
    if (path.isEmpty() || m_knownFolders.contains(path)) {
        return;
    }
    const QString full = m_base + path;
    const QFileInfo info(full);
    // A link in the folder would redirect files out of it.
    if (isLink(info)) {
        throw IOException(QStringLiteral("would be written through the link '%1'").arg(path));
    }
    if (!info.isDir()) {
        if (info.exists() || !QDir().mkdir(full)) {
            throw IOException(
                QStringLiteral("cannot be written: the folder '%1' cannot be created").arg(path));
        }
        m_madeFolders << full;
    }
    m_knownFolders.insert(path);
}

std::unique_ptr<QFile> ZipTargetTree::createFile(const QString& relativePath)
{
    makeFolder(relativePath.left(qMax(0, relativePath.lastIndexOf(QLatin1Char('/')))));
    const QString path = m_base + relativePath;
    auto file = std::make_unique<QFile>(path);
    // NewOnly neither opens an existing file nor follows a link, atomically.
    if (file->open(QIODevice::WriteOnly | QIODevice::NewOnly | QIODevice::Unbuffered)) {
        m_madeFiles << path;
        return file;
    }
    const QFileInfo info(path);
    if (!isThere(info)) {
        throw IOException(QStringLiteral("cannot be written: %1").arg(file->errorString()));
    }
    if (isLink(info) || !info.isFile()) {
        throw IOException(QStringLiteral("would replace a folder, a link or a special file"));
    }
    if (m_existing == Existing::Refuse) {
        throw IOException(QStringLiteral("would replace an existing file"));
    }
    return createReplacement(path);
}

std::unique_ptr<QFile> ZipTargetTree::createReplacement(const QString& path)
{
    constexpr int maxTries = 1000;
    for (int i = 0; i < maxTries; ++i) {
        auto file = std::make_unique<QFile>(QStringLiteral("%1.%2.part").arg(path).arg(i));
        if (file->open(QIODevice::WriteOnly | QIODevice::NewOnly | QIODevice::Unbuffered)) {
            m_madeFiles << file->fileName();
            m_replacements.push_back({file->fileName(), path});
            return file;
        }
        if (!isThere(QFileInfo(file->fileName()))) {
            throw IOException(QStringLiteral("cannot be written: %1").arg(file->errorString()));
        }
    }
    throw IOException(QStringLiteral("cannot be written: no free name beside the existing file"));
}

void ZipTargetTree::commit()
{
    for (const Replacement& replacement : m_replacements) {
        std::error_code error;
        // Not QFile::rename(): it does not replace.
        std::filesystem::rename(nativeFilePath(replacement.from), nativeFilePath(replacement.to),
                                error);
        if (error) {
            throw IOException(QStringLiteral("the file '%1' cannot be replaced: %2")
                                  .arg(QDir::toNativeSeparators(replacement.to),
                                       QString::fromLocal8Bit(error.message().c_str())));
        }
    }
    m_committed = true;
}

void ZipTargetTree::rollBack()
{
    for (auto file = m_madeFiles.crbegin(); file != m_madeFiles.crend(); ++file) {
        if (!QFile::remove(*file) && QFile::exists(*file)) {
            SOFTWAREUPDATE_LOG(Log::eWarning, "zk::ZipTargetTree::rollBack", "could not remove ",
                               *file);
        }
    }
    // rmdir removes empty folders only: files that others have put there since then stay.
    for (auto folder = m_madeFolders.crbegin(); folder != m_madeFolders.crend(); ++folder) {
        if (!QDir().rmdir(*folder)) {
            SOFTWAREUPDATE_LOG(Log::eWarning, "zk::ZipTargetTree::rollBack", "could not remove ",
                               *folder);
        }
    }
}

} // namespace zk

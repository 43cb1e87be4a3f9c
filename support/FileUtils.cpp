#include "support/FileUtils.h"

#include <QDir>
#include <QFile>
#include <QFileDialog>
#include <QFileInfo>
#include <QStandardPaths>
#include <QTemporaryDir>

namespace zk {

QString FileUtils::nativePath(const QString& path)
{
    return QDir::toNativeSeparators(path);
}

QString FileUtils::nativePath(const QString& dir, const QString& name)
{
    QString folder = QDir::fromNativeSeparators(dir);
    QString file = QDir::fromNativeSeparators(name);
    while (folder.size() > 1 && folder.endsWith(QLatin1Char('/'))) {
        folder.chop(1);
    }
    while (file.startsWith(QLatin1Char('/'))) {
        file.remove(0, 1);
    }
    const bool separated = folder.isEmpty() || folder.endsWith(QLatin1Char('/'));
    return QDir::toNativeSeparators(separated ? folder + file : folder + QLatin1Char('/') + file);
}

QString FileUtils::nativePath(const QString& program, const SearchPath& path)
{
    QStringList folders;
    const QStringList all = path.folders.split(QDir::listSeparator(), Qt::SkipEmptyParts);
    for (const QString& folder : all) {
        if (QDir::isAbsolutePath(folder)) {
            folders << folder;
        }
    }
    // Given no folders, Qt would search those of the environment.
    const QString found =
        folders.isEmpty() ? QString() : QStandardPaths::findExecutable(program, folders);
    return QDir::toNativeSeparators(found.isEmpty() ? program : found);
}

bool FileUtils::erase(const QString& path)
{
    // QDir("").removeRecursively() would delete the contents of the working folder.
    const QFileInfo info(path);
    if (path.isEmpty() || info.isRelative() || QDir(QDir::cleanPath(path)).isRoot()) {
        return false;
    }
    // isSymLink() first: exists() and isDir() follow links.
    if (info.isSymLink()) {
        return QFile::remove(path);
    }
    if (!info.exists()) {
        return false;
    }
    return info.isDir() ? QDir(path).removeRecursively() : QFile::remove(path);
}

QString FileUtils::createTempDir()
{
    // Empty if the temporary folder does not exist; the new one would then be created in the root
    // folder.
    const QString base = QDir::tempPath();
    if (base.isEmpty()) {
        return QString();
    }
    QTemporaryDir dir(base + QStringLiteral("/SoftwareUpdate-XXXXXX"));
    if (!dir.isValid()) {
        return QString();
    }
    dir.setAutoRemove(false);
    return QDir::cleanPath(QFileInfo(dir.path()).absoluteFilePath());
}

bool FileUtils::openDirectoryDialog(QString& chosen, const QString& caption,
                                    const QString& startDir, QWidget* parent)
{
    const QString folder = QFileDialog::getExistingDirectory(parent, caption, startDir);
    if (folder.isEmpty()) {
        return false;
    }
    chosen = folder;
    return true;
}

} // namespace zk

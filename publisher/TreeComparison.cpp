#include "publisher/TreeComparison.h"

#include "publisher/Files.h"

#include "download/FileHash.h"
#include "support/FolderWalk.h"
#include "support/ZipEntryNames.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QHash>
#include <QSet>

#include <set>
#include <string>
#include <vector>

namespace publisher {

namespace {

/** Walks through one folder. */
class Comparison
{
public:
    Comparison(const QString& folder, const trust::PackageManifest& manifest)
        : m_root(folder)
    {
        for (const trust::ManifestFile& file : manifest.files) {
            const QString path = QString::fromStdString(file.path);
            m_files.insert(path, &file);
            addFolders(path.section(QLatin1Char('/'), 0, -2));
        }
        for (const std::string& path : manifest.folders) {
            addFolders(QString::fromStdString(path));
        }
    }

    QStringList run()
    {
        walk(QString());
        for (auto file = m_files.cbegin(); file != m_files.cend(); ++file) {
            report(file.key(), QStringLiteral("is missing"));
        }
        for (const QString& path : qAsConst(m_folders)) {
            report(path + QLatin1Char('/'), QStringLiteral("is missing"));
        }
        m_lines.sort();
        return m_lines;
    }

private:
    const QDir m_root;
    /** @{ What the walk has not come across yet. */
    QHash<QString, const trust::ManifestFile*> m_files;
    QSet<QString> m_folders;
    /** @} */
    QStringList m_lines;

    /** Adds a folder and those above it, which archives need not name. */
    void addFolders(QString path)
    {
        while (!path.isEmpty() && !m_folders.contains(path)) {
            m_folders.insert(path);
            path = path.section(QLatin1Char('/'), 0, -2);
        }
    }

    void report(const QString& path, const QString& complaint)
    {
        m_lines << QStringLiteral("%1: %2").arg(zk::displayName(path), complaint);
    }

    /** Compares what is in the folder @p prefix, which is empty or ends with "/". */
    void walk(const QString& prefix)
    {
        const auto entries = entriesIn(QDir(m_root.filePath(prefix)));
        if (!entries) {
            report(prefix.isEmpty() ? QStringLiteral("./") : prefix,
                   QStringLiteral("cannot be read, or has a name that cannot be decoded"));
            return;
        }
        for (const QFileInfo& entry : *entries) {
            compare(prefix + entry.fileName(), entry);
        }
    }

    void compare(const QString& path, const QFileInfo& entry)
    {
        const QLatin1String manifest(trust::installedManifestName.data());
        if (path == manifest || path == manifest + QLatin1String(".minisig")) {
            return;
        }
        if (zk::isLink(entry)) {
            report(path, QStringLiteral("is a link"));
            m_files.remove(path);
            m_folders.remove(path);
        } else if (entry.isDir()) {
            if (!m_folders.remove(path)) {
                report(path + QLatin1Char('/'), QStringLiteral("is not in the package"));
            }
            walk(path + QLatin1Char('/'));
        } else if (const trust::ManifestFile* const file = m_files.take(path)) {
            compareFile(path, entry, *file);
        } else {
            report(path, QStringLiteral("is not in the package"));
        }
    }

    void compareFile(const QString& path, const QFileInfo& entry, const trust::ManifestFile& file)
    {
        // isFile(): opening a pipe would block until its other end is opened.
        if (!entry.isFile() || quint64(entry.size()) != file.size) {
            report(path, QStringLiteral("has changed"));
        } else {
            QFile device(entry.filePath());
            const bool isOpen = device.open(QIODevice::ReadOnly);
            const auto hash = isOpen ? zk::hashOf<trust::Blake2b256>(device) : std::nullopt;
            if (!hash) {
                report(path, QStringLiteral("cannot be read: ") + device.errorString());
            } else if (*hash != file.hash) {
                report(path, QStringLiteral("has changed"));
            }
        }
#ifdef Q_OS_UNIX
        // The other bits depend on the umask of whoever has unpacked it.
        constexpr unsigned ownerMayExecute = 0100;
        const bool isWanted = (file.mode.value_or(0) & ownerMayExecute) != 0;
        if (file.mode && entry.permission(QFile::ExeOwner) != isWanted) {
            report(path, isWanted ? QStringLiteral("is not executable")
                                  : QStringLiteral("is executable"));
        }
#endif
    }
};

/** The path without its first name. */
std::string belowTop(const std::string& path)
{
    return path.substr(path.find('/') + 1);
}

} // namespace

trust::PackageManifest belowOnlyFolder(trust::PackageManifest manifest)
{
    std::set<std::string> tops;
    for (const trust::ManifestFile& file : manifest.files) {
        // A file at the top has a name that no folder can have.
        const std::size_t end = file.path.find('/');
        tops.insert(end == std::string::npos ? "/" : file.path.substr(0, end));
    }
    for (const std::string& folder : manifest.folders) {
        tops.insert(folder.substr(0, folder.find('/')));
    }
    if (tops.size() != 1 || *tops.begin() == "/") {
        return manifest;
    }
    std::vector<std::string> folders;
    for (const std::string& folder : manifest.folders) {
        if (folder != *tops.begin()) {
            folders.push_back(belowTop(folder));
        }
    }
    manifest.folders = folders;
    for (trust::ManifestFile& file : manifest.files) {
        file.path = belowTop(file.path);
    }
    return manifest;
}

QStringList differences(const QString& folder, const trust::PackageManifest& manifest)
{
    return Comparison(folder, manifest).run();
}

} // namespace publisher

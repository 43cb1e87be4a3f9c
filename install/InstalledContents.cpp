#include "install/InstalledContents.h"

#include "download/FileHash.h"
#include "support/FolderWalk.h"

#include <QFile>
#include <QSet>

namespace zk {

ContentPaths installedContents(const QString& folder, const trust::PackageManifest& manifest,
                               const std::atomic<bool>& isCancelled)
{
    QSet<quint64> sizes;
    for (const trust::ManifestFile& file : manifest.files) {
        sizes.insert(file.size);
        for (const trust::ManifestPatch& patch : file.patches) {
            sizes.insert(patch.oldSize);
        }
    }
    sizes.remove(0);
    ContentPaths contents;
    walkFolder(folder, [&](const QFileInfo& info) {
        QFile file(info.filePath());
        if (isPlainFile(info) && sizes.contains(quint64(info.size())) &&
            file.open(QIODevice::ReadOnly)) {
            const auto hash = hashOf<trust::Blake2b256>(
                file, [&isCancelled](qint64 /*done*/) { return !isCancelled.load(); });
            if (hash) {
                contents.insert(bytesOf(*hash), file.fileName());
            }
        }
        return !isCancelled;
    });
    return contents;
}

} // namespace zk

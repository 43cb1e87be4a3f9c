#include "support/FolderWalk.h"

#include <QDir>
#include <QStringList>

namespace zk {

// Not isSymLink(), which takes shortcuts on Windows, which are files, for links.
bool isLink(const QFileInfo& info)
{
    return info.isSymbolicLink() || info.isJunction();
}

bool isPlainFile(const QFileInfo& info)
{
    return info.isFile() && !isLink(info);
}

// Not QDirIterator, which goes into junctions.
void walkFolder(const QString& folder, const std::function<bool(const QFileInfo&)>& visit)
{
    QStringList folders{folder};
    while (!folders.isEmpty()) {
        const QFileInfoList entries = QDir(folders.takeLast())
                                          .entryInfoList(QDir::AllEntries | QDir::Hidden |
                                                         QDir::System | QDir::NoDotAndDotDot);
        for (const QFileInfo& entry : entries) {
            if (!visit(entry)) {
                return;
            }
            if (entry.isDir() && !isLink(entry)) {
                folders << entry.filePath();
            }
        }
    }
}

} // namespace zk

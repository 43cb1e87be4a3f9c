#include "support/DiskSpace.h"

#include <QDir>
#include <QFileInfo>
#include <QStorageInfo>

namespace zk {

QString existingFolder(const QString& path)
{
    QString folder = QDir::cleanPath(path);
    while (!QFileInfo(folder).isDir()) {
        const QString parent = QFileInfo(folder).path();
        if (parent == folder) {
            break;
        }
        folder = parent;
    }
    return folder;
}

std::optional<DiskSpace> diskSpaceAt(const QString& path)
{
    const QStorageInfo storage(existingFolder(path));
    const qint64 available = storage.bytesAvailable();
    if (!storage.isValid() || available < 0) {
        return std::nullopt;
    }
    return DiskSpace{quint64(available), quint64(qMax(storage.blockSize(), 512))};
}

QString spaceComplaint(const QString& folder, qint64 bytes)
{
    const std::optional<DiskSpace> space = diskSpaceAt(folder);
    if (!space || bytes <= 0 || quint64(bytes) <= space->available) {
        return QString();
    }
    return QStringLiteral("there is no space for %1 bytes, %2 are left")
        .arg(bytes)
        .arg(space->available);
}

std::optional<std::size_t> firstBeyond(const std::vector<quint64>& sizes, const DiskSpace& space)
{
    quint64 left = space.available;
    for (std::size_t i = 0; i < sizes.size(); ++i) {
        // At most 2^63, so rounding up does not overflow.
        const quint64 needed = (sizes[i] + space.block - 1) / space.block * space.block;
        if (needed > left) {
            return i;
        }
        left -= needed;
    }
    return std::nullopt;
}

} // namespace zk

#include "publisher/PackageTree.h"

#include "publisher/Files.h"

#include "support/FolderWalk.h"
#include "support/ZipArchive.h"
#include "support/ZipEntryNames.h"
#include "trust/EntryName.h"
#include "trust/PackageManifest.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QHash>

#include <zlib.h>

#include <algorithm>
#include <array>
#include <limits>
#include <optional>
#include <utility>

namespace publisher {

namespace {

/** UTF-8, whatever the locale. */
QByteArray nameOnDisk(const QString& name)
{
#ifdef Q_OS_WIN
    return name.toUtf8();
#else
    // In another locale Qt has taken the bytes for other characters.
    return QFile::encodeName(name);
#endif
}

/** Collects the entries of one folder. */
class TreeReader
{
public:
    /** The complaint about @p folder, which is the part @p prefix of the tree; empty if none. */
    QString read(const QDir& folder, const QByteArray& prefix)
    {
        const auto entries = entriesIn(folder);
        if (!entries) {
            return QStringLiteral("%1 cannot be read, or has a name that cannot be decoded")
                .arg(folder.path());
        }
        if (entries->isEmpty() && !prefix.isEmpty()) {
            return add({prefix.toStdString(), folder.path()});
        }
        for (const QFileInfo& entry : *entries) {
            QString complaint = readEntry(entry, prefix + nameOnDisk(entry.fileName()));
            if (!complaint.isEmpty()) {
                return complaint;
            }
        }
        return QString();
    }

    PackageTree takeTree() { return std::move(m_tree); }

private:
    PackageTree m_tree;
    zk::ZipEntryNameSet m_names;

    QString readEntry(const QFileInfo& entry, const QByteArray& name)
    {
        if (zk::isLink(entry) || (!entry.isFile() && !entry.isDir())) {
            return QStringLiteral("%1 is a link or another special file").arg(entry.filePath());
        }
        if (!entry.isReadable()) {
            return QStringLiteral("%1 cannot be read").arg(entry.filePath());
        }
        return entry.isDir()
                   ? read(QDir(entry.filePath()), name + '/')
                   : add({name.toStdString(), entry.filePath(), entry.permission(QFile::ExeOwner)});
    }

    QString add(TreeEntry entry)
    {
        const QString name = QString::fromStdString(entry.name);
        QString complaint = trust::isUtf8(entry.name) ? zk::entryNameComplaint(name)
                                                      : QStringLiteral("is not UTF-8");
        if (complaint.isEmpty()) {
            complaint = m_names.add(name);
        }
        const QString first = name.section(QLatin1Char('/'), 0, 0);
        if (first.compare(QLatin1String(trust::installedManifestName.data()),
                          Qt::CaseInsensitive) == 0) {
            complaint = QStringLiteral("has the name of the installed manifest");
        }
        if (complaint.isEmpty()) {
            m_tree.push_back(std::move(entry));
            return QString();
        }
        return QStringLiteral("%1 %2").arg(zk::displayName(entry.path), complaint);
    }
};

std::optional<quint32> checksum(const QString& path)
{
    constexpr qint64 pieceSize = 64LL * 1024;
    std::array<char, pieceSize> piece;
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        return std::nullopt;
    }
    quint32 crc = 0;
    qint64 size = 0;
    while ((size = file.read(piece.data(), pieceSize)) > 0) {
        crc = quint32(crc32(crc, reinterpret_cast<const Bytef*>(piece.data()), uInt(size)));
    }
    return size == 0 ? std::optional(crc) : std::nullopt;
}

bool isSame(const TreeEntry& entry, const zk::ZipEntry& old)
{
    // A checksum proves nothing, but only the order depends on it.
    return entry.isFolder() ||
           (quint64(QFileInfo(entry.path).size()) == old.size && checksum(entry.path) == old.crc);
}

} // namespace

std::variant<PackageTree, QString> readTree(const QString& folder)
{
    TreeReader reader;
    const QString complaint = reader.read(QDir(folder), QByteArray());
    if (!complaint.isEmpty()) {
        return complaint;
    }
    PackageTree tree = reader.takeTree();
    std::sort(tree.begin(), tree.end(),
              [](const TreeEntry& a, const TreeEntry& b) { return a.name < b.name; });
    return tree;
}

QString orderLike(const QString& previous, PackageTree& tree)
{
    constexpr std::size_t last = std::numeric_limits<std::size_t>::max();
    QHash<QString, std::size_t> positions;
    try {
        const zk::ZipArchive archive(previous);
        for (std::size_t i = 0; i < archive.entries().size(); ++i) {
            positions.insert(zk::withoutDotPrefix(archive.entries()[i].name), i);
        }
        std::vector<std::pair<std::size_t, TreeEntry>> ordered;
        for (TreeEntry& entry : tree) {
            const std::size_t known = positions.value(QString::fromStdString(entry.name), last);
            const bool isKept = known != last && isSame(entry, archive.entries()[known]);
            ordered.emplace_back(isKept ? known : last, std::move(entry));
        }
        std::stable_sort(ordered.begin(), ordered.end(),
                         [](const auto& a, const auto& b) { return a.first < b.first; });
        tree.clear();
        for (auto& [position, entry] : ordered) {
            tree.push_back(std::move(entry));
        }
    } catch (const zk::IOException& error) {
        return error.message();
    }
    return QString();
}

} // namespace publisher

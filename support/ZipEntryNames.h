#pragma once

#include <QHash>
#include <QPair>
#include <QString>

namespace zk {

/** Removes a leading "./", which some archivers write; "./" itself becomes empty. */
QString withoutDotPrefix(const QString& name);

/**
 * Why an entry with this name must not be unpacked on any platform; empty if it may.
 *
 * Refused are absolute paths, "..", drives, shares, streams and devices, characters that Windows
 * does not allow in file names, and names that are too long or nested too deeply. @p name is a
 * result of withoutDotPrefix() with "/" as separator; the name of a folder ends with "/".
 */
QString entryNameComplaint(const QString& name);

/** @p name for messages: without control characters and of limited length. */
QString displayName(const QString& name);

/** Finds entries that would overwrite one another on file systems that ignore case. */
class ZipEntryNameSet
{
public:
    /**
     * Adds a name that passed entryNameComplaint(). Returns the conflict with an earlier name, if
     * any.
     */
    QString add(const QString& name);

private:
    enum class Kind { ImpliedFolder, Folder, File };
    struct Node
    {
        int id;
        Kind kind;
    };

    // A tree of components: the paths of all parents would take space quadratic in the length of a
    // name.
    QHash<QPair<int, QString>, Node> m_nodes;
};

} // namespace zk

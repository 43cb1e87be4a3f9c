#pragma once

#include <QHash>
#include <QPair>
#include <QString>

namespace zk {

/** @p name without a leading "./", which some archivers write; "./" itself becomes empty. */
QString withoutDotPrefix(const QString& name);

/**
 * Why an entry of this name must not be written below a folder, on any platform; empty when it may.
 *
 * Refused are names that are absolute, climb, name a drive, share, stream or device, hold
 * characters that no file name may hold on Windows, or are nested or long beyond all reason. @p
 * name is as it comes out of withoutDotPrefix() and uses "/"; a folder's ends with it.
 */
QString entryNameComplaint(const QString& name);

/** @p name for a person's eyes: without control characters and not endless. */
QString displayName(const QString& name);

/** Finds entries that would land on one another where upper and lower case are the same. */
class ZipEntryNameSet
{
public:
    /** Adds a name that passed entryNameComplaint(). Returns why it cannot stand beside the others.
     */
    QString add(const QString& name);

private:
    enum class Kind { ImpliedFolder, Folder, File };
    struct Node
    {
        int id;
        Kind kind;
    };

    // A tree by components: whole paths of all parents would grow with the square of a name's
    // length.
    QHash<QPair<int, QString>, Node> m_nodes;
};

} // namespace zk

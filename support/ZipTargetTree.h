#pragma once

#include <QFile>
#include <QSet>
#include <QString>
#include <QStringList>

#include <memory>
#include <vector>

namespace zk {

/**
 * Transaction for the files and folders that one extraction creates below a folder: removed again
 * unless committed.
 *
 * Existing files are never removed: commit() alone replaces them, and only by complete ones.
 * Relative paths use "/". All functions throw IOException with the reason alone.
 */
class ZipTargetTree
{
public:
    enum class Existing { Refuse, Replace };

    /** Creates @p folder (absolute) and its parents if they do not exist. */
    ZipTargetTree(const QString& folder, Existing existing);
    /** Removes everything created, unless committed. */
    ~ZipTargetTree();
    ZipTargetTree(const ZipTargetTree&) = delete;
    ZipTargetTree& operator=(const ZipTargetTree&) = delete;

    /** Creates a folder and its parents. It may exist already, but not as a link. */
    void makeFolder(const QString& relativePath);

    /**
     * Creates a file and its folders, open for writing. The caller closes it before the next call.
     */
    [[nodiscard]] std::unique_ptr<QFile> createFile(const QString& relativePath);

    /**
     * Keeps what was created and moves replacements into place. If one of them fails, those already
     * moved stay and the rest is removed.
     */
    void commit();

private:
    struct Replacement
    {
        QString from;
        QString to;
    };

    void makeBase(const QString& folder);
    void checkedMakeFolder(const QString& path);
    std::unique_ptr<QFile> createReplacement(const QString& path);
    void rollBack();

    QString m_base;
    Existing m_existing;
    QSet<QString> m_knownFolders;
    QStringList m_madeFolders;
    QStringList m_madeFiles;
    std::vector<Replacement> m_replacements;
    bool m_committed = false;
};

} // namespace zk

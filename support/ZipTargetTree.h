#pragma once

#include <QFile>
#include <QSet>
#include <QString>
#include <QStringList>

#include <memory>
#include <vector>

namespace zk {

/**
 * The files and folders that one extraction makes below a folder, taken back unless it is
 * committed.
 *
 * What was there before is never removed: an existing file is replaced by commit() alone, and only
 * by a complete one. Relative paths use "/". Everything throws IOException with the reason alone.
 */
class ZipTargetTree
{
public:
    enum class Existing { Refuse, Replace };

    /** Makes @p folder (absolute) with its parents where it does not exist. */
    ZipTargetTree(const QString& folder, Existing existing);
    /** Takes everything back that was made, unless committed. */
    ~ZipTargetTree();
    ZipTargetTree(const ZipTargetTree&) = delete;
    ZipTargetTree& operator=(const ZipTargetTree&) = delete;

    /** Makes a folder with its parents; one that exists is fine, a link in its place is not. */
    void makeFolder(const QString& relativePath);

    /** A new file, open for writing, its folders made. The caller closes it before anything else is
     * made. */
    [[nodiscard]] std::unique_ptr<QFile> createFile(const QString& relativePath);

    /**
     * Keeps what was made and puts the replacing files in their places. Where one of them cannot be
     * put there, those already replaced stay so and the rest is taken back.
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

#pragma once

#include "download/DownloadCache.h"
#include "trust/PackageManifest.h"

#include <QString>

#include <atomic>
#include <vector>

class QFile;

namespace zk {

/**
 * Staging folder: the new version of an application while it is put together from files that are
 * there and from parts of its package, and afterwards, until it takes the application's place.
 *
 * A file has its name in the tree only with the contents that the manifest names. What an earlier
 * run has left is continued. Functions that read or write many files are callable from any thread,
 * from one at a time, and end soon, without success, when @p isCancelled becomes true.
 */
class StagingTree final
{
public:
    using Cancelled = std::atomic<bool>;

    StagingTree(DownloadCache::Staging staging, trust::PackageManifest manifest);
    ~StagingTree();
    StagingTree(const StagingTree&) = delete;
    StagingTree& operator=(const StagingTree&) = delete;

    [[nodiscard]] const trust::PackageManifest& manifest() const { return m_manifest; }
    /** The new application folder. */
    [[nodiscard]] QString folder() const { return m_tree; }
    /** For the bytes of the section that is being fetched, and its record. */
    [[nodiscard]] QString sectionPath() const;

    /**
     * Removes whatever is not a file or folder of the manifest with the right contents, and makes
     * its folders and empty files; then lists the positions of the files that are missing. All of
     * them are if @p isCancelled.
     */
    [[nodiscard]] std::vector<std::size_t> survey(const Cancelled& isCancelled);

    /** Makes the file at @p position a copy of @p source; false if that has other contents. */
    [[nodiscard]] bool copy(std::size_t position, const QString& source,
                            const Cancelled& isCancelled);

    /**
     * Makes the file at @p position from its packed bytes, which begin at @p offset of @p section.
     * Nothing is unpacked before their hash is right. False if something is wrong.
     */
    [[nodiscard]] bool unpack(std::size_t position, QFile& section, qint64 offset,
                              const Cancelled& isCancelled);

    /** Makes the file at @p position from @p patch, which is at @p offset of @p section, and the
     * file at @p oldPath; false if something is wrong. */
    [[nodiscard]] bool applyPatch(std::size_t position, const trust::ManifestPatch& patch,
                                  QFile& section, qint64 offset, const QString& oldPath,
                                  const Cancelled& isCancelled);

    /** Writes the manifest, which has this text, into the folder that holds @p program and will
     * become the application's. */
    [[nodiscard]] bool writeManifest(const QByteArray& text, const QString& program) const;

    /** Whether no file has been removed or changed its size since. Visits each file. */
    [[nodiscard]] bool isIntact() const;

private:
    const DownloadCache::Staging m_staging;
    const QString m_tree;
    const trust::PackageManifest m_manifest;

    [[nodiscard]] QString path(const trust::ManifestFile& file) const;
    [[nodiscard]] QString newPath() const;
    [[nodiscard]] bool hasContents(const QString& path, const trust::ManifestFile& file,
                                   const Cancelled& isCancelled) const;
    void removeOthers(std::vector<bool>& isThere, const Cancelled& isCancelled) const;
    void makeFolders() const;
    [[nodiscard]] bool place(QFile& file, const trust::ManifestFile& target) const;
};

} // namespace zk

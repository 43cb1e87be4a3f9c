#pragma once

#include "support/ZipArchive.h"
#include "support/ZipTargetTree.h"

#include <QFile>
#include <QString>

#include <functional>
#include <vector>

namespace zk {

/**
 * Writes chosen entries of an archive to a folder: all of them, or none is left there.
 *
 * Entries come from a ZipEntryLoader; what that leaves out passes through in pieces of 64 KiB.
 */
class ZipExtraction
{
public:
    struct Job
    {
        std::size_t index;
        /** Relative path below the target, safe to write; that of a folder ends with "/". */
        QString target;
    };
    /** Called after each piece of up to 64 KiB, and once for an empty entry or a folder, with 0. */
    using Progress = std::function<void(qint64 bytes)>;
    using IsAborted = std::function<bool()>;

    ZipExtraction(const ZipArchive& archive, Progress progress, IsAborted isAborted);

    /**
     * Writes @p jobs below @p targetDir. Returns false if aborted; throws an IOException that names
     * the archive. In both cases everything written is removed again.
     */
    bool run(const std::vector<Job>& jobs, const QString& targetDir,
             ZipTargetTree::Existing existing);

    /** The bytes written so far, the sum of all calls of @ref Progress. */
    [[nodiscard]] qint64 written() const { return m_written; }

private:
    using Jobs = std::vector<Job>;

    void checkSpace(const Jobs& jobs, const QString& targetDir) const;
    bool extractAll(const Jobs& jobs, ZipTargetTree& tree);
    bool writeLoaded(const Job& job, const ZipEntry& entry, const char* data, ZipTargetTree& tree);
    bool writeStreamed(const Job& job, const ZipEntry& entry, ZipTargetTree& tree);
    bool writePieces(QFile& file, const char* data, qint64 size);
    bool announce(qint64 bytes);

    const ZipArchive& m_archive;
    Progress m_progress;
    IsAborted m_isAborted;
    const ZipEntry* m_current = nullptr;
    qint64 m_written = 0;
};

} // namespace zk

#pragma once

#include "support/ZipArchive.h"
#include "support/ZipTargetTree.h"

#include <QFile>
#include <QString>

#include <functional>
#include <memory>
#include <vector>

struct libdeflate_decompressor;

namespace zk {

/**
 * Unpacks chosen entries of an archive: all of them, or nothing stays behind.
 *
 * Memory: an entry of up to 256 MiB that is packed into at most 48 MiB is inflated in one piece;
 * everything else passes through in pieces of 64 KiB.
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
    /** Told of every piece of up to 64 KiB written and of the end of each entry (maybe 0 bytes). */
    using Progress = std::function<void(qint64 bytes)>;
    using IsAborted = std::function<bool()>;

    ZipExtraction(const ZipArchive& archive, Progress progress, IsAborted isAborted);
    ~ZipExtraction();
    ZipExtraction(const ZipExtraction&) = delete;
    ZipExtraction& operator=(const ZipExtraction&) = delete;

    /**
     * Writes @p jobs below @p targetDir. False when aborted. Throws IOException that names the
     * archive. Nothing is left of it in both cases.
     */
    bool run(const std::vector<Job>& jobs, const QString& targetDir,
             ZipTargetTree::Existing existing);

    /** The bytes written so far, the sum of what @ref Progress was told. */
    [[nodiscard]] qint64 written() const { return m_written; }

private:
    struct Buffer
    {
        char* atLeast(quint64 size);

        std::unique_ptr<char[]> data;
        quint64 capacity = 0;
    };
    struct DecompressorCloser
    {
        void operator()(libdeflate_decompressor* decompressor) const;
    };

    void checkSpace(const std::vector<Job>& jobs, const QString& targetDir) const;
    bool extract(const Job& job, ZipTargetTree& tree);
    bool writeInflated(const Job& job, const ZipEntry& entry, ZipTargetTree& tree);
    bool writeStreamed(const Job& job, const ZipEntry& entry, ZipTargetTree& tree);
    const char* inflate(std::size_t index, const ZipEntry& entry);
    bool writePieces(QFile& file, const char* data, qint64 size);
    bool announce(qint64 bytes);

    const ZipArchive& m_archive;
    Progress m_progress;
    IsAborted m_isAborted;
    std::unique_ptr<libdeflate_decompressor, DecompressorCloser> m_decompressor;
    Buffer m_packed;
    Buffer m_unpacked;
    qint64 m_written = 0;
};

} // namespace zk

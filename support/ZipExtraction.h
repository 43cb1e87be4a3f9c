#pragma once

#include "support/ZipArchive.h"
#include "support/ZipTargetTree.h"

#include <QFile>
#include <QString>

#include <array>
#include <functional>
#include <future>
#include <memory>
#include <mutex>
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

    /** What inflating takes, for one thread at a time. */
    struct Inflater
    {
        Inflater();

        std::unique_ptr<libdeflate_decompressor, DecompressorCloser> decompressor;
        Buffer packed;
    };

    /** Jobs in a row, from first to before end. */
    struct Batch
    {
        Inflater inflater;
        std::size_t first = 0;
        std::size_t end = 0;
        /** One entry that is not loaded ahead. */
        bool alone = false;
        /** The contents of the entries, one behind the other. */
        Buffer data;
        /** The job that could not be loaded and why; end when all could. */
        std::size_t failedAt = 0;
        QString failure;
    };
    using Jobs = std::vector<Job>;
    /** Batches of which one is written while the others are being loaded. */
    using Batches = std::array<Batch, 4>;

    void checkSpace(const Jobs& jobs, const QString& targetDir) const;
    bool extractAll(const Jobs& jobs, ZipTargetTree& tree);
    void plan(Batch& batch, const Jobs& jobs, std::size_t first) const;
    [[nodiscard]] std::future<void> startLoading(Batch& batch, const Jobs& jobs);
    void load(Batch& batch, const Jobs& jobs);
    bool write(Batch& batch, const Jobs& jobs, ZipTargetTree& tree);
    bool writeAlone(const Job& job, const ZipEntry& entry, Batch& batch, ZipTargetTree& tree);
    bool writeLoaded(const Job& job, const ZipEntry& entry, const char* data, ZipTargetTree& tree);
    bool writeStreamed(const Job& job, const ZipEntry& entry, ZipTargetTree& tree);
    void unpack(std::size_t index, const ZipEntry& entry, char* unpacked, Inflater& inflater);
    bool writePieces(QFile& file, const char* data, qint64 size);
    bool announce(qint64 bytes);

    const ZipArchive& m_archive;
    Progress m_progress;
    IsAborted m_isAborted;
    /** The archive serves one thread at a time. */
    std::mutex m_reading;
    Batches m_batches;
    const ZipEntry* m_current = nullptr;
    qint64 m_written = 0;
};

} // namespace zk

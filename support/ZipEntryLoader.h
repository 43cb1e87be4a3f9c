#pragma once

#include "support/ZipArchive.h"

#include <array>
#include <deque>
#include <future>
#include <memory>
#include <mutex>
#include <vector>

struct libdeflate_decompressor;

namespace zk {

/**
 * Inflates chosen entries of an archive in memory, on threads that run a few megabytes ahead of the
 * caller.
 *
 * Memory: entries of up to 4 MiB are loaded ahead in four batches of that size. A larger one of up
 * to 256 MiB, packed into at most 48 MiB, is inflated alone; anything larger is left to the caller.
 * Checks sizes and checksums. Throws IOException with the reason alone.
 */
class ZipEntryLoader
{
public:
    /** @p indices of @p archive's entries, in the order in which they will be loaded. */
    ZipEntryLoader(const ZipArchive& archive, std::vector<std::size_t> indices);
    ~ZipEntryLoader();
    ZipEntryLoader(const ZipEntryLoader&) = delete;
    ZipEntryLoader& operator=(const ZipEntryLoader&) = delete;

    /**
     * The contents of the entry at @p position of the indices, valid until the next call; null if
     * it is too large for memory, in which case the caller may read the archive until the next
     * call. Positions are asked for one after the other, from 0.
     */
    [[nodiscard]] const char* contents(std::size_t position);

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

    /** Consecutive positions, from first to before end. */
    struct Batch
    {
        Inflater inflater;
        std::size_t first = 0;
        std::size_t end = 0;
        /** One entry that is too large to be loaded ahead. */
        bool isAlone = false;
        /** The contents of the entries, one after the other. */
        Buffer data;
        /** The position that could not be loaded and why; end if all could. */
        std::size_t failedAt = 0;
        QString failure;
    };
    struct Loading
    {
        Batch* batch;
        std::future<void> done; // waits when it is destroyed
    };

    [[nodiscard]] const ZipEntry& entryAt(std::size_t position) const;
    void nextBatch();
    void loadAhead();
    void plan(Batch& batch, std::size_t first) const;
    [[nodiscard]] std::future<void> startLoading(Batch& batch);
    void load(Batch& batch);
    [[nodiscard]] const char* loadAlone(std::size_t position);
    void inflate(std::size_t index, char* unpacked, Inflater& inflater);

    const ZipArchive& m_archive;
    const std::vector<std::size_t> m_indices;
    /** The archive serves one thread at a time. */
    std::mutex m_reading;
    /** One is read by the caller while the others are being loaded. */
    std::array<Batch, 4> m_batches;
    std::size_t m_nextBatch = 0;
    std::size_t m_planned = 0;
    Batch* m_current = nullptr;
    /** Where in the current batch the next entry begins. */
    const char* m_data = nullptr;
    /** Last: its destructor waits for threads that use everything above. */
    std::deque<Loading> m_queue;
};

} // namespace zk

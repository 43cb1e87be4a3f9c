#include "support/ZipEntryLoader.h"

#include <libdeflate.h>
#include <zip.h>

#include <algorithm>
#include <new>
#include <thread>
#include <utility>

namespace zk {

namespace {

constexpr quint64 MaxInflatedAtOnce = 256ULL * 1024 * 1024;
constexpr quint64 MaxPackedAtOnce = 48ULL * 1024 * 1024;
constexpr quint64 MaxLoadedAhead = 4ULL * 1024 * 1024;

bool isLoadedAhead(const ZipEntry& entry)
{
    return entry.size <= MaxLoadedAhead && entry.compressedSize <= MaxLoadedAhead;
}

} // namespace

char* ZipEntryLoader::Buffer::atLeast(quint64 size)
{
    if (size > capacity) {
        data.reset(); // first, or both would exist at once
        capacity = 0;
        // Not make_unique: it would fill what is about to be overwritten.
        data.reset(new char[std::size_t(size)]);
        capacity = size;
    }
    return data.get();
}

void ZipEntryLoader::DecompressorCloser::operator()(libdeflate_decompressor* decompressor) const
{
    libdeflate_free_decompressor(decompressor);
}

ZipEntryLoader::Inflater::Inflater()
    : decompressor(libdeflate_alloc_decompressor())
{
    if (!decompressor) {
        throw std::bad_alloc();
    }
}

ZipEntryLoader::ZipEntryLoader(const ZipArchive& archive, std::vector<std::size_t> indices)
    : m_archive(archive)
    , m_indices(std::move(indices))
{
}

ZipEntryLoader::~ZipEntryLoader() = default;

const ZipEntry& ZipEntryLoader::entryAt(std::size_t position) const
{
    return m_archive.entries()[m_indices[position]];
}

const char* ZipEntryLoader::contents(std::size_t position)
{
    if (!m_current || position == m_current->end) {
        nextBatch();
    }
    if (m_current->isAlone) {
        return loadAlone(position);
    }
    if (position == m_current->failedAt) {
        throw IOException(m_current->failure);
    }
    return std::exchange(m_data, m_data + entryAt(position).size);
}

void ZipEntryLoader::nextBatch()
{
    if (m_current && m_current->isAlone) {
        // Otherwise each of the batches might keep the memory of such an entry.
        m_current->data = Buffer();
        m_current->inflater.packed = Buffer();
    }
    loadAhead();
    Loading loading = std::move(m_queue.front());
    m_queue.pop_front();
    m_current = loading.batch;
    if (loading.done.valid()) {
        loading.done.get();
    }
    m_data = m_current->data.data.get();
    if (!m_current->isAlone) {
        loadAhead();
    }
}

// A batch of one large entry needs the memory of all: it is loaded on request, and nothing else at
// the same time.
void ZipEntryLoader::loadAhead()
{
    // Loading is mostly inflating, so use all cores.
    const std::size_t cores = std::max(std::thread::hardware_concurrency(), 1U);
    const std::size_t ahead = std::min(cores, m_batches.size() - 1);
    while (m_planned < m_indices.size() && m_queue.size() < ahead &&
           (m_queue.empty() || !m_queue.back().batch->isAlone)) {
        Batch& batch = m_batches[m_nextBatch++ % m_batches.size()];
        plan(batch, m_planned);
        m_planned = batch.end;
        m_queue.push_back({&batch, startLoading(batch)});
    }
}

void ZipEntryLoader::plan(Batch& batch, std::size_t first) const
{
    batch.first = first;
    batch.end = first;
    quint64 size = 0;
    for (; batch.end < m_indices.size(); ++batch.end) {
        const ZipEntry& entry = entryAt(batch.end);
        if (!isLoadedAhead(entry) || size + entry.size > MaxLoadedAhead) {
            break;
        }
        size += entry.size;
    }
    batch.isAlone = batch.end == first;
    batch.end += batch.isAlone ? 1 : 0;
    batch.failedAt = batch.end;
}

std::future<void> ZipEntryLoader::startLoading(Batch& batch)
{
    if (batch.isAlone) {
        return {};
    }
    // Both policies: if no thread can be created, the caller's own does it.
    return std::async(std::launch::async | std::launch::deferred, [this, &batch] { load(batch); });
}

void ZipEntryLoader::load(Batch& batch)
{
    char* data = batch.data.atLeast(MaxLoadedAhead);
    for (std::size_t i = batch.first; i < batch.end; ++i) {
        const ZipEntry& entry = entryAt(i);
        try {
            if (!entry.isFolder()) {
                inflate(m_indices[i], data, batch.inflater);
            }
        } catch (const IOException& error) {
            batch.failedAt = i;
            batch.failure = error.message();
            return;
        }
        data += entry.size;
    }
}

const char* ZipEntryLoader::loadAlone(std::size_t position)
{
    const ZipEntry& entry = entryAt(position);
    if (entry.method != ZIP_CM_DEFLATE || entry.size > MaxInflatedAtOnce ||
        entry.compressedSize > MaxPackedAtOnce) {
        return nullptr;
    }
    char* const unpacked = m_current->data.atLeast(entry.size);
    inflate(m_indices[position], unpacked, m_current->inflater);
    return unpacked;
}

void ZipEntryLoader::inflate(std::size_t index, char* unpacked, Inflater& inflater)
{
    const ZipEntry& entry = m_archive.entries()[index];
    const bool isStored = entry.method == ZIP_CM_STORE;
    char* const packed = isStored ? unpacked : inflater.packed.atLeast(entry.compressedSize);
    {
        const std::lock_guard<std::mutex> lock(m_reading);
        ZipArchive::Stream stream = m_archive.stream(index, ZipArchive::Form::Raw);
        stream.readFully(packed, qint64(isStored ? entry.size : entry.compressedSize));
    }
    if (isStored) {
        entry.checkCrc(libdeflate_crc32(0, unpacked, std::size_t(entry.size)));
        return;
    }
    std::size_t used = 0;
    std::size_t made = 0;
    const libdeflate_result result = libdeflate_deflate_decompress_ex(
        inflater.decompressor.get(), packed, std::size_t(entry.compressedSize), unpacked,
        std::size_t(entry.size), &used, &made);
    if (result == LIBDEFLATE_INSUFFICIENT_SPACE) {
        throw ZipEntry::wrongSize();
    }
    if (result != LIBDEFLATE_SUCCESS) {
        throw IOException(QStringLiteral("is damaged: its data cannot be inflated"));
    }
    if (made != entry.size || used != entry.compressedSize) {
        throw ZipEntry::wrongSize();
    }
    entry.checkCrc(libdeflate_crc32(0, unpacked, made));
}

} // namespace zk

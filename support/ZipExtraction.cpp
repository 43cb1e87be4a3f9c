#include "support/ZipExtraction.h"

#include "support/DiskSpace.h"

#include <QDateTime>
#include <QDir>

#include <libdeflate.h>
#include <zip.h>

#include <algorithm>
#include <array>
#include <deque>
#include <limits>
#include <new>
#include <optional>
#include <thread>
#include <utility>

namespace zk {

namespace {

constexpr qint64 PieceSize = 65536;
constexpr quint64 MaxInflatedAtOnce = 256ULL * 1024 * 1024;
constexpr quint64 MaxPackedAtOnce = 48ULL * 1024 * 1024;
constexpr quint64 MaxLoadedAhead = 4ULL * 1024 * 1024;

void checkCrc(quint32 found, const ZipEntry& entry)
{
    if (found != entry.crc) {
        throw IOException(QStringLiteral("is damaged: its checksum is wrong"));
    }
}

IOException wrongSize()
{
    return IOException(QStringLiteral("is damaged: it has not the size that it declares"));
}

void setExecutable(QFile& file, quint32 unixMode)
{
#ifdef Q_OS_UNIX
    constexpr quint32 owner = 0100;
    constexpr quint32 group = 0010;
    constexpr quint32 other = 0001;
    if ((unixMode & (owner | group | other)) == 0) {
        return;
    }
    QFile::Permissions permissions = file.permissions();
    // Only to whom the user's mask lets read.
    permissions.setFlag(QFile::ExeOwner, (unixMode & owner) != 0);
    permissions.setFlag(QFile::ExeGroup, (unixMode & group) != 0 && permissions & QFile::ReadGroup);
    permissions.setFlag(QFile::ExeOther, (unixMode & other) != 0 && permissions & QFile::ReadOther);
    if (!file.setPermissions(permissions)) {
        throw IOException(QStringLiteral("cannot be made executable: %1").arg(file.errorString()));
    }
#else
    Q_UNUSED(file)
    Q_UNUSED(unixMode)
#endif
}

void finishFile(QFile& file, const ZipEntry& entry)
{
    setExecutable(file, entry.unixMode);
    if (entry.modified >= 0) {
        // Not fatal: some file systems cannot hold every time, and the contents are right.
        (void)file.setFileTime(QDateTime::fromSecsSinceEpoch(entry.modified),
                               QFileDevice::FileModificationTime);
    }
    file.close();
    if (file.error() != QFileDevice::NoError) {
        throw IOException(QStringLiteral("cannot be written: %1").arg(file.errorString()));
    }
}

bool isLoadedAhead(const ZipEntry& entry)
{
    return entry.size <= MaxLoadedAhead && entry.compressedSize <= MaxLoadedAhead;
}

} // namespace

char* ZipExtraction::Buffer::atLeast(quint64 size)
{
    if (size > capacity) {
        data.reset(); // first, or both would be there at once
        capacity = 0;
        // Not make_unique: it would fill what is about to be overwritten.
        data.reset(new char[std::size_t(size)]);
        capacity = size;
    }
    return data.get();
}

void ZipExtraction::DecompressorCloser::operator()(libdeflate_decompressor* decompressor) const
{
    libdeflate_free_decompressor(decompressor);
}

ZipExtraction::Inflater::Inflater()
    : decompressor(libdeflate_alloc_decompressor())
{
    if (!decompressor) {
        throw std::bad_alloc();
    }
}

ZipExtraction::ZipExtraction(const ZipArchive& archive, Progress progress, IsAborted isAborted)
    : m_archive(archive)
    , m_progress(std::move(progress))
    , m_isAborted(std::move(isAborted))
{
}

ZipExtraction::~ZipExtraction() = default;

bool ZipExtraction::run(const std::vector<Job>& jobs, const QString& targetDir,
                        ZipTargetTree::Existing existing)
{
    const QString folder = QDir::cleanPath(QDir::current().absoluteFilePath(targetDir));
    if (targetDir.isEmpty()) {
        throw m_archive.refusal(QStringLiteral("no folder is given"));
    }
    checkSpace(jobs, folder);
    m_current = nullptr;
    const auto refusal = [this](const QString& reason) {
        return m_current ? m_archive.refusal(m_current->name, reason) : m_archive.refusal(reason);
    };
    try {
        ZipTargetTree tree(folder, existing);
        if (!extractAll(jobs, tree)) {
            return false;
        }
        m_current = nullptr;
        tree.commit();
        return true;
    } catch (const IOException& error) {
        throw refusal(error.message());
    } catch (const std::bad_alloc&) {
        throw refusal(QStringLiteral("needs more memory than there is"));
    }
}

void ZipExtraction::checkSpace(const std::vector<Job>& jobs, const QString& targetDir) const
{
    const std::optional<DiskSpace> space = diskSpaceAt(targetDir);
    if (!space) {
        return;
    }
    quint64 left = space->available;
    for (const Job& job : jobs) {
        const ZipEntry& entry = m_archive.entries()[job.index];
        // At most 2^63, so rounding up does not overflow.
        const quint64 needed = (entry.size + space->block - 1) / space->block * space->block;
        if (needed > left) {
            throw m_archive.refusal(
                entry.name,
                QStringLiteral("does not fit on the disk any more: only %1 bytes are free")
                    .arg(space->available));
        }
        left -= needed;
    }
}

bool ZipExtraction::extractAll(const Jobs& jobs, ZipTargetTree& tree)
{
    // Loading is inflating, for the most part, which is what all the cores are for.
    const std::size_t cores = std::max(std::thread::hardware_concurrency(), 1U);
    const std::size_t ahead = std::min(cores, m_batches.size() - 1);
    struct Loading
    {
        Batch* batch;
        std::future<void> done; // waits when it is dropped
    };
    std::deque<Loading> queue;
    std::size_t next = 0;
    std::size_t planned = 0;
    // An entry of its own takes the memory that there is for all: it is loaded when it is written,
    // and nothing beside it.
    const auto loadAhead = [&] {
        while (planned < jobs.size() && queue.size() < ahead &&
               (queue.empty() || !queue.back().batch->alone)) {
            Batch& batch = m_batches[next++ % m_batches.size()];
            plan(batch, jobs, planned);
            planned = batch.end;
            queue.push_back({&batch, startLoading(batch, jobs)});
        }
    };
    for (loadAhead(); !queue.empty(); loadAhead()) {
        Batch& batch = *queue.front().batch;
        if (queue.front().done.valid()) {
            queue.front().done.get();
        }
        queue.pop_front();
        if (!batch.alone) {
            loadAhead();
        }
        if (!write(batch, jobs, tree)) {
            return false;
        }
    }
    return true;
}

void ZipExtraction::plan(Batch& batch, const Jobs& jobs, std::size_t first) const
{
    batch.first = first;
    batch.end = first;
    batch.alone = false;
    quint64 size = 0;
    for (; batch.end < jobs.size(); ++batch.end) {
        const ZipEntry& entry = m_archive.entries()[jobs[batch.end].index];
        if (!isLoadedAhead(entry) || size + entry.size > MaxLoadedAhead) {
            break;
        }
        size += entry.size;
    }
    if (batch.end == first && first < jobs.size()) {
        batch.alone = true;
        ++batch.end;
    }
    batch.failedAt = batch.end;
}

std::future<void> ZipExtraction::startLoading(Batch& batch, const Jobs& jobs)
{
    if (batch.alone || batch.first == batch.end) {
        return {};
    }
    // Both policies: where no thread can be had, the caller's own does it.
    return std::async(std::launch::async | std::launch::deferred,
                      [this, &batch, &jobs] { load(batch, jobs); });
}

void ZipExtraction::load(Batch& batch, const Jobs& jobs)
{
    char* data = batch.data.atLeast(MaxLoadedAhead);
    for (std::size_t i = batch.first; i < batch.end; ++i) {
        const ZipEntry& entry = m_archive.entries()[jobs[i].index];
        try {
            if (!entry.isFolder()) {
                unpack(jobs[i].index, entry, data, batch.inflater);
            }
        } catch (const IOException& error) {
            batch.failedAt = i;
            batch.failure = error.message();
            return;
        }
        data += entry.size;
    }
}

bool ZipExtraction::write(Batch& batch, const Jobs& jobs, ZipTargetTree& tree)
{
    const char* data = batch.data.data.get();
    for (std::size_t i = batch.first; i < batch.end; ++i) {
        const Job& job = jobs[i];
        const ZipEntry& entry = m_archive.entries()[job.index];
        m_current = &entry;
        if (m_isAborted()) {
            return false;
        }
        if (i == batch.failedAt) {
            throw IOException(batch.failure);
        }
        if (!(batch.alone ? writeAlone(job, entry, batch, tree)
                          : writeLoaded(job, entry, data, tree))) {
            return false;
        }
        data += batch.alone ? 0 : entry.size;
    }
    return true;
}

bool ZipExtraction::writeAlone(const Job& job, const ZipEntry& entry, Batch& batch,
                               ZipTargetTree& tree)
{
    if (entry.method != ZIP_CM_DEFLATE || entry.size > MaxInflatedAtOnce ||
        entry.compressedSize > MaxPackedAtOnce) {
        return writeStreamed(job, entry, tree);
    }
    char* const unpacked = batch.data.atLeast(entry.size);
    unpack(job.index, entry, unpacked, batch.inflater);
    const bool isWritten = writeLoaded(job, entry, unpacked, tree);
    // Not one such entry in each of the batches.
    batch.data = Buffer();
    batch.inflater.packed = Buffer();
    return isWritten;
}

bool ZipExtraction::writeLoaded(const Job& job, const ZipEntry& entry, const char* data,
                                ZipTargetTree& tree)
{
    if (entry.isFolder()) {
        tree.makeFolder(job.target.chopped(1));
        return announce(0);
    }
    const std::unique_ptr<QFile> file = tree.createFile(job.target);
    if (!writePieces(*file, data, qint64(entry.size))) {
        return false;
    }
    finishFile(*file, entry);
    return entry.size > 0 || announce(0);
}

void ZipExtraction::unpack(std::size_t index, const ZipEntry& entry, char* unpacked,
                           Inflater& inflater)
{
    const bool isStored = entry.method == ZIP_CM_STORE;
    char* const packed = isStored ? unpacked : inflater.packed.atLeast(entry.compressedSize);
    {
        const std::lock_guard<std::mutex> lock(m_reading);
        ZipArchive::Stream stream = m_archive.stream(index, ZipArchive::Form::Raw);
        stream.readFully(packed, qint64(isStored ? entry.size : entry.compressedSize));
    }
    if (isStored) {
        return checkCrc(libdeflate_crc32(0, unpacked, std::size_t(entry.size)), entry);
    }
    std::size_t used = 0;
    std::size_t made = 0;
    const libdeflate_result result = libdeflate_deflate_decompress_ex(
        inflater.decompressor.get(), packed, std::size_t(entry.compressedSize), unpacked,
        std::size_t(entry.size), &used, &made);
    if (result == LIBDEFLATE_INSUFFICIENT_SPACE) {
        throw wrongSize();
    }
    if (result != LIBDEFLATE_SUCCESS) {
        throw IOException(QStringLiteral("is damaged: its data cannot be inflated"));
    }
    if (made != entry.size || used != entry.compressedSize) {
        throw wrongSize();
    }
    checkCrc(libdeflate_crc32(0, unpacked, made), entry);
}

bool ZipExtraction::writeStreamed(const Job& job, const ZipEntry& entry, ZipTargetTree& tree)
{
    const auto form =
        entry.method == ZIP_CM_STORE ? ZipArchive::Form::Raw : ZipArchive::Form::Inflated;
    ZipArchive::Stream stream = m_archive.stream(job.index, form);
    const std::unique_ptr<QFile> file = tree.createFile(job.target);
    std::array<char, PieceSize> piece;
    quint32 crc = 0;
    for (auto left = qint64(entry.size); left > 0;) {
        const qint64 size = qMin(left, PieceSize);
        stream.readFully(piece.data(), size);
        crc = libdeflate_crc32(crc, piece.data(), std::size_t(size));
        left -= size;
        if (left == 0) {
            checkCrc(crc, entry);
        }
        if (!writePieces(*file, piece.data(), size)) {
            return false;
        }
    }
    // libzip makes its own checks where it reaches the end; what comes beyond it is a lie of the
    // directory's.
    if (stream.read(piece.data(), 1) != 0) {
        throw wrongSize();
    }
    checkCrc(crc, entry);
    finishFile(*file, entry);
    return entry.size > 0 || announce(0);
}

bool ZipExtraction::writePieces(QFile& file, const char* data, qint64 size)
{
    for (qint64 done = 0; done < size;) {
        const qint64 part = qMin(size - done, PieceSize);
        if (file.write(data + done, part) != part) {
            throw IOException(QStringLiteral("cannot be written: %1").arg(file.errorString()));
        }
        done += part;
        if (!announce(part)) {
            return false;
        }
    }
    return true;
}

bool ZipExtraction::announce(qint64 bytes)
{
    m_written += bytes;
    m_progress(bytes);
    return !m_isAborted();
}

} // namespace zk

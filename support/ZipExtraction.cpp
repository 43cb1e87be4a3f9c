#include "support/ZipExtraction.h"

#include "support/DiskSpace.h"
#include "support/FileMode.h"
#include "support/ZipEntryLoader.h"

#include <QDateTime>
#include <QDir>

#include <libdeflate.h>
#include <zip.h>

#include <array>
#include <memory>
#include <new>
#include <optional>
#include <utility>

namespace zk {

namespace {

constexpr qint64 PieceSize = 65536;

void finishFile(QFile& file, const ZipEntry& entry)
{
    if (!setExecutable(file, entry.unixMode)) {
        throw IOException(QStringLiteral("cannot be made executable: %1").arg(file.errorString()));
    }
    if (entry.modified >= 0) {
        // Not fatal: some file systems cannot store every time, and the contents are correct.
        (void)file.setFileTime(QDateTime::fromSecsSinceEpoch(entry.modified),
                               QFileDevice::FileModificationTime);
    }
    file.close();
    if (file.error() != QFileDevice::NoError) {
        throw IOException(QStringLiteral("cannot be written: %1").arg(file.errorString()));
    }
}

} // namespace

ZipExtraction::ZipExtraction(const ZipArchive& archive, Progress progress, IsAborted isAborted)
    : m_archive(archive)
    , m_progress(std::move(progress))
    , m_isAborted(std::move(isAborted))
{
}

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
        throw refusal(QStringLiteral("needs more memory than is available"));
    }
}

void ZipExtraction::checkSpace(const std::vector<Job>& jobs, const QString& targetDir) const
{
    const std::optional<DiskSpace> space = diskSpaceAt(targetDir);
    if (!space) {
        return;
    }
    std::vector<quint64> sizes;
    sizes.reserve(jobs.size());
    for (const Job& job : jobs) {
        sizes.push_back(m_archive.entries()[job.index].size);
    }
    if (const auto index = firstBeyond(sizes, *space)) {
        throw m_archive.refusal(m_archive.entries()[jobs[*index].index].name,
                                QStringLiteral("does not fit on the disk: only %1 bytes are free")
                                    .arg(space->available));
    }
}

bool ZipExtraction::extractAll(const Jobs& jobs, ZipTargetTree& tree)
{
    std::vector<std::size_t> indices;
    indices.reserve(jobs.size());
    for (const Job& job : jobs) {
        indices.push_back(job.index);
    }
    ZipEntryLoader loader(m_archive, std::move(indices));
    for (std::size_t i = 0; i < jobs.size(); ++i) {
        const ZipEntry& entry = m_archive.entries()[jobs[i].index];
        m_current = &entry;
        if (m_isAborted()) {
            return false;
        }
        const char* const data = loader.contents(i);
        if (!(data ? writeLoaded(jobs[i], entry, data, tree)
                   : writeStreamed(jobs[i], entry, tree))) {
            return false;
        }
    }
    return true;
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
            entry.checkCrc(crc);
        }
        if (!writePieces(*file, piece.data(), size)) {
            return false;
        }
    }
    // libzip runs its own checks at the end of the entry; more data means that the directory lies
    // about the size.
    if (stream.read(piece.data(), 1) != 0) {
        throw ZipEntry::wrongSize();
    }
    entry.checkCrc(crc);
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

#include "support/ZipReader.h"

#include "support/ZipArchive.h"
#include "support/ZipEntryNames.h"
#include "support/ZipExtraction.h"

#include <QDir>
#include <QSet>

#include <limits>
#include <new>
#include <utility>

namespace zk {

namespace {

/** The selected entries of the archive and their targets. Throws IOException. */
std::vector<ZipExtraction::Job> selectJobs(const ZipArchive& archive,
                                           const QHash<QString, int>& indexes,
                                           const QRegExp& filter, const QString& prefix,
                                           const QStringList& entries)
{
    std::vector<ZipExtraction::Job> jobs;
    QSet<int> taken;
    ZipEntryNameSet targets;
    for (const QString& name : entries) {
        const int index = indexes.value(name, -1);
        if (index < 0) {
            throw archive.refusal(name, QStringLiteral("is not in it"));
        }
        if (taken.contains(index) || (!filter.isEmpty() && !filter.exactMatch(name))) {
            continue;
        }
        taken.insert(index);
        const QString target =
            withoutDotPrefix(name.startsWith(prefix) ? name.mid(prefix.size()) : name);
        if (target.isEmpty() && name.endsWith(QLatin1Char('/'))) {
            continue; // the folder that the prefix names
        }
        // Checked again: removing the prefix can turn a harmless name into one with "..", and two
        // names into one.
        QString complaint = entryNameComplaint(target);
        if (complaint.isEmpty()) {
            complaint = targets.add(target);
        }
        if (!complaint.isEmpty()) {
            throw archive.refusal(name, complaint);
        }
        jobs.push_back({std::size_t(index), target});
    }
    return jobs;
}

} // namespace

// By reference: the signature is published.
// NOLINTNEXTLINE(modernize-pass-by-value)
ZipReader::ZipReader(const QString& zipFile, QObject* parent)
    : ZipDevice(parent)
    , m_zipFile(zipFile)
{
}

ZipReader::~ZipReader() = default;

bool ZipReader::open(QIODevice::OpenMode mode)
{
    const auto fail = [this](const QString& reason) {
        return IOException(QStringLiteral("The archive '%1' cannot be opened: %2.")
                               .arg(QDir::toNativeSeparators(m_zipFile), reason));
    };
    if ((mode & ~(ReadOnly | Unbuffered)) != 0) {
        throw fail(QStringLiteral("it can only be read"));
    }
    if (isOpen()) {
        throw fail(QStringLiteral("it is open already"));
    }
    try {
        auto archive = std::make_shared<ZipArchive>(m_zipFile);
        QHash<QString, int> indexes;
        indexes.reserve(int(archive->entries().size()));
        for (const ZipEntry& entry : archive->entries()) {
            indexes.insert(entry.name, indexes.size());
        }
        m_archive = std::move(archive);
        m_indexes = std::move(indexes);
    } catch (const std::bad_alloc&) {
        throw fail(QStringLiteral("it needs more memory than is available"));
    }
    return ZipDevice::open(ReadOnly | Unbuffered);
}

void ZipReader::close()
{
    ZipDevice::close();
    m_archive.reset();
    m_indexes.clear();
}

QStringList ZipReader::fileList() const
{
    QStringList names;
    if (m_archive) {
        names.reserve(int(m_archive->entries().size()));
        for (const ZipEntry& entry : m_archive->entries()) {
            names << entry.name;
        }
    }
    return names;
}

qint64 ZipReader::uncompressedSize(const QStringList& entries) const
{
    qint64 sum = 0;
    for (const QString& name : entries) {
        const int index = m_indexes.value(name, -1);
        if (index >= 0) {
            const auto size = qint64(m_archive->entries()[std::size_t(index)].size);
            sum += qMin(size, std::numeric_limits<qint64>::max() - sum);
        }
    }
    return sum;
}

// The list by value: the signature is published.
qint64 ZipReader::extractFiles(const QString& targetDir, const QRegExp& filter,
                               const QString& prefix, bool overwrite,
                               QStringList entries) // NOLINT(performance-unnecessary-value-param)
{
    m_complete = false;
    const std::shared_ptr<ZipArchive> archive = m_archive;
    if (!archive) {
        throw IOException(QStringLiteral("The archive '%1' is not open.")
                              .arg(QDir::toNativeSeparators(m_zipFile)));
    }
    try {
        const auto jobs = selectJobs(*archive, m_indexes, filter, prefix, entries);
        ZipExtraction extraction(
            *archive, [this](qint64 bytes) { emit writeBytes(bytes); },
            [this] { return isAborted(); });
        m_complete = extraction.run(jobs, targetDir,
                                    overwrite ? ZipTargetTree::Existing::Replace
                                              : ZipTargetTree::Existing::Refuse);
        return extraction.written();
    } catch (const std::bad_alloc&) {
        throw archive->refusal(QStringLiteral("it needs more memory than is available"));
    }
}

bool ZipReader::isComplete() const
{
    return m_complete;
}

} // namespace zk

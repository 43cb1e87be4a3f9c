#include "download/PartialFile.h"

#include "download/BodyHash.h"

#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>

#include <utility>

namespace zk {

namespace {

constexpr int bufferSize = 1024 * 1024;
constexpr qint64 largestRecord = 8LL * 1024;

// A link, which leads elsewhere, or a folder or device.
bool isForeign(const QString& path)
{
    const QFileInfo info(path);
    return info.isSymLink() || (info.exists() && !info.isFile());
}

} // namespace

std::unique_ptr<PartialFile> PartialFile::beside(const QString& target)
{
    std::unique_ptr<PartialFile> partial(
        new PartialFile(target + QStringLiteral(".part"), Place()));
    return partial->open(QIODevice::ReadWrite | QIODevice::NewOnly) ? std::move(partial) : nullptr;
}

std::unique_ptr<PartialFile> PartialFile::in(Place place)
{
    if (isForeign(place.file) || isForeign(place.record)) {
        return nullptr;
    }
    const QString path = place.file;
    std::unique_ptr<PartialFile> partial(new PartialFile(path, std::move(place)));
    if (!partial->open(QIODevice::ReadWrite)) {
        return nullptr;
    }
    const auto content = partial->readRecord();
    const bool isUsable = content && (content->total < 0 || partial->m_size <= content->total);
    if (isUsable) {
        partial->m_content = *content;
        return partial;
    }
    return partial->begin(Content()) ? std::move(partial) : nullptr;
}

PartialFile::PartialFile(const QString& path, Place place)
    : m_file(path)
    , m_place(std::move(place))
{
}

PartialFile::~PartialFile()
{
    m_placement.reset();
    m_file.close();
    const bool isContinued =
        isKept() && !m_isPlaced && m_size > 0 && !m_content.validator.isEmpty();
    if (isContinued) {
        return;
    }
    // By name, as the object keeps a file that its last bytes could not be written to.
    QFile::remove(m_file.fileName());
    if (isKept()) {
        QFile::remove(m_place.record);
    }
}

QString PartialFile::folder() const
{
    return QFileInfo(m_file).absolutePath();
}

bool PartialFile::open(QIODevice::OpenMode mode)
{
    // Unbuffered: what is counted is on its way to the disk, also when the process dies.
    if (!m_file.open(mode | QIODevice::Unbuffered)) {
        return false;
    }
    m_size = m_file.size();
    return m_file.seek(m_size);
}

std::optional<PartialFile::Content> PartialFile::readRecord() const
{
    QFile file(m_place.record);
    if (!file.open(QIODevice::ReadOnly)) {
        return std::nullopt;
    }
    const QJsonObject record = QJsonDocument::fromJson(file.read(largestRecord)).object();
    // A text: JSON's numbers are too small for some sizes.
    bool isNumber = false;
    const qint64 total = record[QLatin1String("total")].toString().toLongLong(&isNumber);
    const Content content{record[QLatin1String("validator")].toString().toLatin1(),
                          isNumber ? total : -1};
    const bool isOurs =
        record[QLatin1String("owner")].toString() == QString::fromLatin1(m_place.owner);
    return isOurs && !content.validator.isEmpty() ? std::optional(content) : std::nullopt;
}

bool PartialFile::writeRecord() const
{
    const QJsonObject record{
        {QStringLiteral("owner"), QString::fromLatin1(m_place.owner)},
        {QStringLiteral("validator"), QString::fromLatin1(m_content.validator)},
        {QStringLiteral("total"), QString::number(m_content.total)}};
    const QByteArray text = QJsonDocument(record).toJson();
    QFile file(m_place.record);
    return file.open(QIODevice::WriteOnly) && writeAll(file, text.constData(), text.size()) &&
           file.flush();
}

void PartialFile::enableHash()
{
    m_hash = std::make_unique<BodyHash>();
}

bool PartialFile::rehash(const std::atomic<bool>& isCancelled)
{
    QByteArray piece(bufferSize, Qt::Uninitialized);
    if (!m_file.seek(0)) {
        return false;
    }
    for (qint64 done = 0; done < m_size;) {
        const qint64 length = m_file.read(piece.data(), qMin(qint64(piece.size()), m_size - done));
        if (length <= 0 || isCancelled) {
            return false;
        }
        m_hash->add(piece.constData(), length);
        done += length;
    }
    return true;
}

QByteArray PartialFile::hash()
{
    return m_hash->result();
}

bool PartialFile::begin(const Content& content)
{
    m_content = content;
    m_size = 0;
    if (m_hash) {
        enableHash();
    }
    // Not if it is empty already: ext4 writes out a file that was truncated when it is closed.
    if ((m_file.size() > 0 && !m_file.resize(0)) || !m_file.seek(0)) {
        return fail(m_file.errorString());
    }
    // Without a validator there is nothing to continue, and none remains to be mistaken.
    const bool isRecorded =
        !isKept() || (content.validator.isEmpty()
                          ? !QFile::exists(m_place.record) || QFile::remove(m_place.record)
                          : writeRecord());
    return isRecorded || fail(QStringLiteral("the record of the download cannot be written"));
}

bool PartialFile::append(const char* data, qint64 size)
{
    if (!writeAll(m_file, data, size)) {
        const QString reason = m_file.errorString();
        // What was written of it counts for nothing.
        (void)(m_file.resize(m_size) && m_file.seek(m_size));
        return fail(reason);
    }
    m_size += size;
    if (m_hash) {
        m_hash->add(data, size);
    }
    return true;
}

bool PartialFile::place(const QString& path)
{
    if (!m_placement) {
        m_placement.emplace(m_file, path);
    }
    if (m_placement->step()) {
        return true;
    }
    m_isPlaced = m_placement->isOpened() && m_placement->systemError().isEmpty();
    if (!m_isPlaced) {
        (void)fail(m_placement->systemError());
    }
    return false;
}

bool PartialFile::fail(const QString& reason)
{
    m_systemError = reason;
    return false;
}

} // namespace zk

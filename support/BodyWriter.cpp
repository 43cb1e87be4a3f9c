#include "support/BodyWriter.h"

#include "support/DiskSpace.h"

#include <QDir>
#include <QFileInfo>

#include <limits>
#include <utility>

namespace zk {

namespace {

// A small encoded body may fill every disk.
constexpr qint64 maximumDecodedSize = std::numeric_limits<int>::max();

// A new file beside the one named path, which no other program has, with the rights of any file.
bool openPartial(QFile& partial, const QString& folder, const QString& path)
{
    constexpr int mostTries = 100;
    // File systems allow 255 bytes, and a character may take three of them.
    const QString name = QFileInfo(path).fileName().left(80);
    for (int i = 0; i < mostTries; ++i) {
        partial.setFileName(QStringLiteral("%1/%2.%3.part").arg(folder, name).arg(i));
        if (partial.open(QIODevice::ReadWrite | QIODevice::NewOnly)) {
            return true;
        }
        if (!QFileInfo::exists(partial.fileName())) {
            return false;
        }
    }
    return false;
}

} // namespace

BodyWriter::BodyWriter(QNetworkReply* reply, QObject* parent, Observer observer)
    : QObject(parent)
    , m_reply(reply)
    , m_observer(std::move(observer))
{
}

BodyWriter::~BodyWriter()
{
    if (!m_partial.fileName().isEmpty()) {
        // Not by the object: it keeps a file that its last bytes cannot be written to.
        m_partial.close();
        QFile::remove(m_partial.fileName());
    }
}

// An aborted reply is no longer open.
bool BodyWriter::hasMore() const
{
    return m_reply->isOpen() && m_reply->bytesAvailable() > 0;
}

QNetworkReply::NetworkError BodyWriter::bodyError() const
{
    if (!m_decoder) {
        return QNetworkReply::NoError;
    }
    if (m_decoder->isDamaged() || (m_decoder->isEncoded() && m_written > maximumDecodedSize)) {
        return QNetworkReply::ProtocolFailure;
    }
    if (!m_isFine || m_decoder->isComplete()) {
        return QNetworkReply::NoError;
    }
    return m_decoder->isCut() ? QNetworkReply::RemoteHostClosedError
                              : QNetworkReply::ProtocolFailure;
}

bool BodyWriter::receive(const QString& path)
{
    if (!m_decoder) {
        m_decoder.emplace(*m_reply);
    }
    const qint64 end = m_written + readBufferSize;
    while (m_isFine && m_written < end && hasMore()) {
        const bool isFine = open(path) && writePiece();
        m_isFine = m_isFine && isFine;
    }
    return m_isFine && hasMore();
}

void BodyWriter::drain()
{
    while (hasMore()) {
        m_received += m_reply->skip(m_reply->bytesAvailable());
    }
}

bool BodyWriter::open(const QString& path)
{
    if (m_partial.isOpen()) {
        return true;
    }
    m_buffer.resize(256 * 1024);
    const QString folder = existingFolder(QFileInfo(path).absolutePath());
    if (!hasRoom(folder)) {
        return false;
    }
    // The file itself may be writable in a folder that is not.
    if (!openPartial(m_partial, folder, path) && !openPartial(m_partial, QDir::tempPath(), path)) {
        fail(m_partial.errorString());
        m_partial.setFileName(QString());
        return false;
    }
    return true;
}

bool BodyWriter::hasRoom(const QString& folder)
{
    const qint64 announced = m_reply->header(QNetworkRequest::ContentLengthHeader).toLongLong();
    const QString complaint = spaceComplaint(folder, announced);
    if (!complaint.isEmpty()) {
        fail(complaint);
    }
    return complaint.isEmpty();
}

// In pieces: an encoded one may grow to a thousand times its size.
bool BodyWriter::writePiece()
{
    const qint64 length = m_reply->read(m_buffer.data(), m_buffer.size());
    if (length <= 0) {
        return false;
    }
    m_received += length;
    const QByteArray piece = QByteArray::fromRawData(m_buffer.constData(), int(length));
    return m_decoder->decode(piece, [this](const char* data, qint64 size) {
        m_written += size;
        if (m_decoder->isEncoded() && m_written > maximumDecodedSize) {
            return false;
        }
        if (!writeAll(m_partial, data, size)) {
            fail(m_partial.errorString());
        } else if (m_observer) {
            m_observer(data, size);
        }
        return m_isFine;
    });
}

bool BodyWriter::finish(const QString& path)
{
    switch (m_step) {
    case eReceiving:
        if (receive(path)) {
            return true;
        }
        place(path);
        return m_step != eEnd;
    case ePlacing:
        if (m_placement->step()) {
            return true;
        }
        endPlacing();
        return false;
    case eEnd:
        break;
    }
    return false;
}

void BodyWriter::close(const QString& path)
{
    if (m_step == eReceiving) {
        place(path);
    }
    m_placement.reset();
    m_isFine = false;
}

void BodyWriter::place(const QString& path)
{
    m_step = eEnd;
    m_path = path;
    if (!m_systemError.isEmpty()) {
        return;
    }
    m_placement.emplace(m_partial, path);
    m_isOpened = m_placement->isOpened();
    if (m_isOpened && !m_placement->isRenamed() && m_partial.isOpen()) {
        m_step = ePlacing;
    } else {
        endPlacing();
    }
}

void BodyWriter::endPlacing()
{
    m_step = eEnd;
    if (!m_placement->systemError().isEmpty()) {
        fail(m_placement->systemError());
    }
    if (m_placement->isRenamed()) {
        m_partial.setFileName(QString());
    }
    m_placement.reset();
}

// The first reason counts.
void BodyWriter::fail(const QString& reason)
{
    m_isFine = false;
    m_systemError = m_systemError.isEmpty() ? reason : m_systemError;
}

} // namespace zk

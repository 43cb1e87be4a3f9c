#include "support/BodyWriter.h"

#include "support/DiskSpace.h"

#include <QDir>
#include <QFileInfo>

#include <limits>
#include <utility>

namespace zk {

namespace {

constexpr qint64 bytesInTurn = 8LL * 1024 * 1024; // less than a second on a slow stick
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

// A disk that gets full takes a part first; only the next attempt tells why.
bool writeAll(QFile& file, const char* data, qint64 size)
{
    while (size > 0) {
        const qint64 written = file.write(data, size);
        if (written <= 0) {
            return false;
        }
        data += written;
        size -= written;
    }
    return true;
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
    const qint64 end = m_written + bytesInTurn;
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
    const std::optional<DiskSpace> space = diskSpaceAt(folder);
    if (!space || announced <= 0 || quint64(announced) <= space->available) {
        return true;
    }
    fail(QStringLiteral("there is no space for %1 bytes, %2 are left")
             .arg(announced)
             .arg(space->available));
    return false;
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
    case eCopying:
        if (copyPart()) {
            return true;
        }
        m_step = eEnd;
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
    m_file.close();
    m_isFine = false;
}

// Gives the partial file its name, or opens the file that is to be written over.
void BodyWriter::place(const QString& path)
{
    m_step = eEnd;
    m_path = path;
    if (m_partial.isOpen() && (!m_partial.flush() || !m_partial.seek(0))) {
        fail(m_partial.errorString());
    }
    if (!m_systemError.isEmpty()) {
        return;
    }
    // The whole path at once: stepping up from a folder that does not exist leads nowhere.
    if (!QDir().mkpath(QFileInfo(path).absolutePath())) {
        fail(QStringLiteral("the folder could not be created"));
        return;
    }
    const QFileInfo target(path);
    if (m_partial.isOpen() && !target.exists() && !target.isSymLink()) {
        m_partial.close();
        m_isOpened = m_partial.rename(path);
        if (m_isOpened) {
            m_partial.setFileName(QString());
            return;
        }
        // Perhaps somebody reads it at this moment: copy it then.
        if (!m_partial.open(QIODevice::ReadOnly)) {
            fail(m_partial.errorString());
            return;
        }
    }
    // Not truncated: a longer file that exists already keeps its tail.
    m_file.setFileName(path);
    m_isOpened = m_file.open(QIODevice::ReadWrite);
    if (!m_isOpened) {
        fail(m_file.errorString());
    } else if (m_partial.isOpen()) {
        m_step = eCopying;
    } else {
        m_file.close();
    }
}

bool BodyWriter::copyPart()
{
    for (qint64 copied = 0; copied < bytesInTurn;) {
        const qint64 length = m_partial.read(m_buffer.data(), m_buffer.size());
        if (length <= 0) {
            if (length < 0 || !m_file.flush()) {
                fail(length < 0 ? m_partial.errorString() : m_file.errorString());
            }
            m_file.close();
            return false;
        }
        if (!writeAll(m_file, m_buffer.constData(), length)) {
            fail(m_file.errorString());
            m_file.close();
            return false;
        }
        copied += length;
    }
    return true;
}

// The first reason counts.
void BodyWriter::fail(const QString& reason)
{
    m_isFine = false;
    m_systemError = m_systemError.isEmpty() ? reason : m_systemError;
}

} // namespace zk

#include "support/BodyWriter.h"

#include <QDir>
#include <QFileInfo>

#include <limits>

namespace zk {

namespace {

// The decoded body may be as large as the largest one that Qt receives.
constexpr qint64 maximumSize = std::numeric_limits<int>::max();

} // namespace

BodyWriter::BodyWriter(QNetworkReply* reply, const QString& path, QObject* parent)
    : QObject(parent)
    , m_reply(reply)
    , m_file(path)
    , m_decoder(*reply)
{
    // The whole path at once: stepping up from a folder that does not exist leads nowhere.
    // Not truncated: a longer file that exists already keeps its tail.
    if (QDir().mkpath(QFileInfo(path).absolutePath())) {
        m_isOpened = m_file.open(QIODevice::ReadWrite);
        noteSystemError();
    } else {
        m_systemError = QStringLiteral("the folder could not be created");
    }
}

// An aborted reply is no longer open.
bool BodyWriter::hasMore() const
{
    return m_reply->isOpen() && m_reply->bytesAvailable() > 0;
}

QNetworkReply::NetworkError BodyWriter::bodyError() const
{
    if (m_decoder.isDamaged() || m_written > maximumSize) {
        return QNetworkReply::ProtocolFailure;
    }
    if (!m_isOpened || !m_systemError.isEmpty() || m_decoder.isComplete()) {
        return QNetworkReply::NoError;
    }
    return m_decoder.isCut() ? QNetworkReply::RemoteHostClosedError
                             : QNetworkReply::ProtocolFailure;
}

bool BodyWriter::writeMore()
{
    constexpr qint64 turnSize = 8LL * 1024 * 1024; // less than a second on a slow stick
    const qint64 end = m_written + turnSize;
    bool isFine = m_file.isOpen();
    while (isFine && m_written < end && hasMore()) {
        isFine = writePiece();
    }
    if (isFine && hasMore()) {
        return true;
    }
    m_isWhole = isFine && m_file.flush();
    close();
    return false;
}

// In pieces: readAll() delivers 2 GiB at most and says nothing of the rest, and an encoded piece
// may grow to a thousand times its size.
bool BodyWriter::writePiece()
{
    const QByteArray piece = m_reply->read(m_decoder.isEncoded() ? 16LL * 1024 : 1024LL * 1024);
    return !piece.isEmpty() && m_decoder.decode(piece, [this](const char* data, qint64 size) {
        m_written += size;
        return m_written <= maximumSize && m_file.write(data, size) == size;
    });
}

void BodyWriter::close()
{
    noteSystemError();
    m_file.close();
    noteSystemError();
    m_isWhole = m_isWhole && m_file.error() == QFile::NoError;
}

void BodyWriter::noteSystemError()
{
    if (m_systemError.isEmpty() && m_file.error() != QFile::NoError) {
        m_systemError = m_file.errorString();
    }
}

} // namespace zk

#include "install/BodyWriter.h"

#include <QDir>
#include <QFileInfo>
#include <QNetworkReply>

namespace zk {

BodyWriter::BodyWriter(QNetworkReply* reply, const QString& path, QObject* parent)
    : QObject(parent)
    , m_reply(reply)
    , m_file(path)
{
    // The whole path at once: stepping up from a folder that does not exist leads nowhere.
    // Not truncated: a longer file that is there already keeps its tail.
    m_isOpened = QDir().mkpath(QFileInfo(path).absolutePath()) && m_file.open(QIODevice::ReadWrite);
}

// An aborted reply is no longer open.
bool BodyWriter::hasMore() const
{
    return m_reply->isOpen() && m_reply->bytesAvailable() > 0;
}

bool BodyWriter::writeMore()
{
    // In pieces: readAll() delivers 2 GiB at the most and says nothing of the rest.
    constexpr int pieceSize = 1024 * 1024;
    constexpr int pieces = 8; // less than a second on a slow stick
    QByteArray piece(pieceSize, Qt::Uninitialized);
    bool isFine = m_file.isOpen();
    for (int i = 0; isFine && i < pieces && hasMore(); ++i) {
        const qint64 size = m_reply->read(piece.data(), pieceSize);
        isFine = size > 0 && m_file.write(piece.constData(), size) == size;
    }
    if (isFine && hasMore()) {
        return true;
    }
    m_isWhole = isFine && m_file.flush();
    close();
    return false;
}

void BodyWriter::close()
{
    m_file.close();
    m_isWhole = m_isWhole && m_file.error() == QFile::NoError;
}

} // namespace zk

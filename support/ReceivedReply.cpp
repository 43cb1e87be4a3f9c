#include "support/ReceivedReply.h"

#include <cstring>
#include <utility>

namespace zk {

ReceivedReply::ReceivedReply(const QNetworkReply& source, QList<QByteArray> body)
    : m_body(std::move(body))
{
    for (const QByteArray& piece : qAsConst(m_body)) {
        m_available += piece.size();
    }
    setUrl(source.url());
    setRequest(source.request());
    setOperation(source.operation());
    for (const auto attribute :
         {QNetworkRequest::HttpStatusCodeAttribute, QNetworkRequest::HttpReasonPhraseAttribute,
          QNetworkRequest::RedirectionTargetAttribute}) {
        setAttribute(attribute, source.attribute(attribute));
    }
    open(QIODevice::ReadOnly | QIODevice::Unbuffered); // forgets the error text
    setError(source.error(), source.errorString());
    setFinished(true);
}

void ReceivedReply::fail(NetworkError code, const QString& text)
{
    setError(code, text);
    setAttribute(QNetworkRequest::HttpStatusCodeAttribute, QVariant());
    setAttribute(QNetworkRequest::RedirectionTargetAttribute, QVariant());
}

qint64 ReceivedReply::bytesAvailable() const
{
    return m_available + QNetworkReply::bytesAvailable();
}

qint64 ReceivedReply::readData(char* data, qint64 maximum)
{
    qint64 size = 0;
    while (size < maximum && !m_body.isEmpty()) {
        const QByteArray& piece = m_body.constFirst();
        const int part = int(qMin<qint64>(maximum - size, piece.size() - m_position));
        std::memcpy(data + size, piece.constData() + m_position, std::size_t(part));
        size += part;
        m_position += part;
        if (m_position == piece.size()) {
            m_body.removeFirst();
            m_position = 0;
        }
    }
    m_available -= size;
    return size > 0 || maximum == 0 ? size : -1;
}

} // namespace zk

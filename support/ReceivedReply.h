#pragma once

#include <QList>
#include <QNetworkReply>

namespace zk {

/**
 * A reply that has been received to its end, with its body decoded. Reading frees the body: what
 * becomes of it may need the memory.
 */
class ReceivedReply final : public QNetworkReply
{
public:
    /** Takes over what @p source says of itself, and the pieces of the @p body. */
    ReceivedReply(const QNetworkReply& source, QList<QByteArray> body);

    /** Makes it a failed one, and no redirect. */
    void fail(NetworkError code, const QString& text);

    void abort() override {}
    [[nodiscard]] qint64 bytesAvailable() const override;
    [[nodiscard]] bool isSequential() const override { return true; }

protected:
    qint64 readData(char* data, qint64 maximum) override;

private:
    QList<QByteArray> m_body;
    qint64 m_available = 0;
    /** In the first piece. */
    int m_position = 0;
};

} // namespace zk

#pragma once

#include "Literals.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QTcpServer>
#include <QTcpSocket>
#include <QThread>
#include <QUrl>

#include <atomic>
#include <memory>
#include <utility>

namespace zk::test {

/** Sends a head that never ends, as fast as it is taken, to the first who connects. */
class EndlessServer : public QThread
{
public:
    EndlessServer(QByteArray beginning, const QByteArray& repeated)
        : m_beginning(std::move(beginning))
        , m_repeated(repeated.repeated(1 + 65536 / repeated.size()))
    {
        start();
        while (m_port == 0) {
            QThread::msleep(1);
        }
    }
    ~EndlessServer() override
    {
        m_isOver = true;
        wait();
    }

    QUrl url() const { return QUrl(u"http://127.0.0.1:%1/doc.xml"_s.arg(int(m_port))); }
    /** How many bytes have been taken. */
    std::atomic<qint64> sent{0};

protected:
    void run() override
    {
        QTcpServer server;
        server.listen(QHostAddress::LocalHost);
        m_port = server.serverPort();
        while (!m_isOver && !server.waitForNewConnection(10)) {
        }
        const std::unique_ptr<QTcpSocket> socket(server.nextPendingConnection());
        while (socket && !m_isOver && socket->state() == QTcpSocket::ConnectedState) {
            socket->write(sent == 0 ? m_beginning : m_repeated);
            while (!m_isOver && socket->bytesToWrite() > 0 && socket->waitForBytesWritten(10)) {
            }
            sent += socket->bytesToWrite() == 0 ? m_repeated.size() : 0;
        }
    }

private:
    const QByteArray m_beginning;
    const QByteArray m_repeated;
    std::atomic<int> m_port{0};
    std::atomic<bool> m_isOver{false};
};

/** Milliseconds of the longest turn of the event loop in the next second. */
inline qint64 longestTurn()
{
    qint64 longest = 0;
    QElapsedTimer all;
    for (all.start(); all.elapsed() < 1000;) {
        QElapsedTimer turn;
        turn.start();
        QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        longest = qMax(longest, turn.elapsed());
    }
    return longest;
}

} // namespace zk::test

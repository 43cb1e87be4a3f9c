#pragma once

#include "Literals.h"

#include <QCoreApplication>
#include <QHash>
#include <QNetworkAccessManager>
#include <QPointer>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTest>
#include <QTimer>
#include <QUrl>

#include <functional>
#include <utility>

namespace zk::test {

/** What the server got. */
struct Request
{
    QByteArray path;
    /** Request line and header lines. */
    QByteArray head;
};

/** What the server sends, byte by byte as it stands, and how it ends. */
struct Answer
{
    /** eSilence says nothing more until the test has it finished. */
    enum End { eClose, eReset, eSilence };

    QByteArray bytes;
    End end = eClose;
    /** Sends a drop now and another one whenever so much time has passed; 0: all at once. */
    int dripMs = 0;
    int dropSize = 1;
    /** Keeps the client waiting for so long first. */
    int delayMs = 0;
};

/** A complete HTTP answer with @p status, the right length and @p headers (lines with CRLF). */
Answer http(int status, const QByteArray& body = {}, const QByteArray& headers = {});

/**
 * An answer that sends the first @p sent bytes of @p body, having announced all of it. With
 * fewer than a thousand it takes its time, so that progress is told, which happens every 100 ms.
 */
Answer partial(const QByteArray& body, int sent, Answer::End end);

/** An answer that leads to @p location. */
Answer redirect(int status, const QByteArray& location, const QByteArray& body = {});

/**
 * A server on 127.0.0.1 that does what it is told, also what no good server can be made to do.
 *
 * Answers to one path are given in the order in which they were set, the last one again and again;
 * other paths get a 404. Drips on one connection at a time. Runs in the thread that made it.
 */
class ScriptedServer : public QObject
{
    Q_OBJECT

public:
    ScriptedServer();

    void answer(const QByteArray& path, const QList<Answer>& all) { m_answers[path] = all; }
    void answer(const QByteArray& path, const Answer& only) { m_answers[path] = {only}; }
    /** Has @p handler answer what is asked for at @p path. */
    using Handler = std::function<Answer(const Request&)>;
    void answerWith(const QByteArray& path, Handler handler)
    {
        m_handlers[path] = std::move(handler);
    }

    /** Goes on where silence fell, on the last connection on which @p path was asked for. */
    void finish(const QByteArray& path, const Answer& rest);

    QUrl url(const QByteArray& path) const;
    quint16 port() const { return m_port; }
    /** How many connections are open. */
    int connections() const { return m_server.findChildren<QTcpSocket*>().size(); }
    const QList<Request>& requests() const { return m_requests; }
    void forgetRequests() { m_requests.clear(); }

private:
    QTcpServer m_server;
    quint16 m_port = 0;
    QHash<QByteArray, QList<Answer>> m_answers;
    QHash<QByteArray, Handler> m_handlers;
    QList<Request> m_requests;
    QHash<QByteArray, QPointer<QTcpSocket>> m_sockets;
    QPointer<QTcpSocket> m_dripping;
    Answer m_rest;
    QTimer m_dripTimer;

    void read(QTcpSocket* socket);
    void send(QTcpSocket* socket, const Answer& answer);
    void drip();
};

/**
 * Waits for the network managers that are set aside until Qt's thread has let go of them: where the
 * application ends before, Qt leaves what is on its way to the thread to the system, and a leak
 * checker complains. Windows has none, and Wine takes its time.
 */
inline void waitForRetiredManagers()
{
#ifndef Q_OS_WIN
    // As long as that takes: one that receives an endless header on a busy machine is slow to end.
    (void)QTest::qWaitFor(
        [] { return !QCoreApplication::instance()->findChild<QNetworkAccessManager*>(); }, 60'000);
#endif
}

} // namespace zk::test

Q_DECLARE_METATYPE(zk::test::Answer)

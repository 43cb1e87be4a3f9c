#include "ScriptedServer.h"

#ifdef Q_OS_WIN
#include <winsock2.h>
#else
#include <sys/socket.h>
using SOCKET = int;
#endif

namespace zk::test {

namespace {

QByteArray head(int status, int length, const QByteArray& headers)
{
    return "HTTP/1.1 " + QByteArray::number(status) +
           " Scripted\r\nConnection: close\r\nContent-Length: " + QByteArray::number(length) +
           "\r\n" + headers + "\r\n";
}

void endConnection(QTcpSocket* socket, Answer::End end)
{
    if (end == Answer::eClose) {
        socket->disconnectFromHost();
    } else if (end == Answer::eReset) {
        socket->flush();
        // Closing now throws away what the other side has not read, and tells it so with a reset.
        linger option{};
        option.l_onoff = 1;
        setsockopt(SOCKET(socket->socketDescriptor()), SOL_SOCKET, SO_LINGER,
                   reinterpret_cast<const char*>(&option), sizeof option);
        socket->abort();
    }
}

} // namespace

Answer http(int status, const QByteArray& body, const QByteArray& headers)
{
    return {head(status, body.size(), headers) + body};
}

Answer partial(const QByteArray& body, int sent, Answer::End end)
{
    const QByteArray bytes = head(200, body.size(), {}) + body.left(sent);
    return {bytes, end, sent < 1000 ? 120 : 0, int(bytes.size()) - 1};
}

Answer redirect(int status, const QByteArray& location, const QByteArray& body)
{
    return http(status, body, location.isNull() ? location : "Location: " + location + "\r\n");
}

ScriptedServer::ScriptedServer()
{
    connect(&m_server, &QTcpServer::newConnection, this, [this] {
        while (QTcpSocket* const socket = m_server.nextPendingConnection()) {
            connect(socket, &QTcpSocket::disconnected, socket, &QObject::deleteLater);
            connect(socket, &QTcpSocket::readyRead, this, [this, socket] { read(socket); });
        }
    });
    connect(&m_dripTimer, &QTimer::timeout, this, &ScriptedServer::drip);
    if (!m_server.listen(QHostAddress::LocalHost)) {
        qFatal("cannot listen on 127.0.0.1");
    }
    m_port = m_server.serverPort();
}

QUrl ScriptedServer::url(const QByteArray& path) const
{
    return QUrl(u"http://127.0.0.1:%1"_s.arg(m_port) + QString::fromUtf8(path));
}

void ScriptedServer::read(QTcpSocket* socket)
{
    const QByteArray got = socket->peek(socket->bytesAvailable());
    const int end = got.indexOf("\r\n\r\n");
    if (end < 0) {
        return;
    }
    socket->readAll();
    const QByteArray path = got.mid(got.indexOf(' ') + 1).split(' ').first();
    m_requests.append({path, got.left(end)});
    m_sockets[path] = socket;
    QList<Answer>& answers = m_answers[path];
    const Handler handler = m_handlers.value(path);
    const Answer next =
        handler ? handler(m_requests.constLast()) : answers.value(0, http(404, "not here"));
    if (answers.size() > 1) {
        answers.removeFirst();
    }
    if (next.delayMs > 0) {
        QTimer::singleShot(next.delayMs, socket, [this, socket, next] { send(socket, next); });
        return;
    }
    send(socket, next);
}

void ScriptedServer::send(QTcpSocket* socket, const Answer& answer)
{
    if (answer.dripMs > 0) {
        m_dripping = socket;
        m_rest = answer;
        m_dripTimer.start(answer.dripMs);
        drip();
        return;
    }
    socket->write(answer.bytes);
    endConnection(socket, answer.end);
}

void ScriptedServer::drip()
{
    if (m_dripping) {
        m_dripping->write(m_rest.bytes.left(m_rest.dropSize));
        m_rest.bytes.remove(0, m_rest.dropSize);
    }
    if (m_dripping && m_rest.bytes.isEmpty()) {
        endConnection(std::exchange(m_dripping, nullptr), m_rest.end);
    }
    if (!m_dripping) {
        m_dripTimer.stop();
    }
}

void ScriptedServer::finish(const QByteArray& path, const Answer& rest)
{
    QTcpSocket* const socket = m_sockets.value(path);
    if (socket && socket == m_dripping) {
        socket->write(m_rest.bytes);
        m_dripping.clear();
    }
    if (socket) {
        socket->write(rest.bytes);
        endConnection(socket, rest.end);
    }
}

} // namespace zk::test

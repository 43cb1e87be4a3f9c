#pragma once

#include "Files.h"

#include <QNetworkProxy>
#include <QProcess>
#include <QStandardPaths>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTemporaryDir>
#include <QTest>

namespace zk::test {

/** A port of 127.0.0.1 that nobody listens on. */
inline quint16 freePort()
{
    QTcpServer server;
    server.listen(QHostAddress::LocalHost);
    return server.serverPort();
}

/** Where @p program is installed, empty when it is not. */
inline QString programPath(const QString& program)
{
    return QStandardPaths::findExecutable(
        program, {QStringLiteral("/usr/bin"), QStringLiteral("/usr/sbin")});
}

/** A real server on a port of 127.0.0.1, with a folder of its own; ended with this object. */
class RunningProgram
{
public:
    RunningProgram() = default;
    ~RunningProgram()
    {
        m_process.kill();
        m_process.waitForFinished();
    }
    RunningProgram(const RunningProgram&) = delete;
    RunningProgram& operator=(const RunningProgram&) = delete;

    [[nodiscard]] bool isThere() const { return m_isThere; }
    [[nodiscard]] quint16 port() const { return m_port; }

protected:
    QTemporaryDir m_folder;

    /** Starts it and waits until it listens; does nothing where it is not installed. */
    void start(const QString& program, const QStringList& arguments)
    {
        m_process.setStandardOutputFile(QProcess::nullDevice());
        m_process.setStandardErrorFile(QProcess::nullDevice());
        m_process.start(programPath(program), arguments);
        m_isThere =
            m_process.waitForStarted() && QTest::qWaitFor([this] { return answers(); }, 5000);
    }
    [[nodiscard]] QString writeConfiguration(const QByteArray& text) const
    {
        QString path = m_folder.filePath(QStringLiteral("conf"));
        writeFile(path, text);
        return path;
    }

private:
    quint16 m_port = freePort();
    QProcess m_process;
    bool m_isThere = false;

    [[nodiscard]] bool answers() const
    {
        QTcpSocket socket;
        socket.setProxy(QNetworkProxy::NoProxy);
        socket.connectToHost(QHostAddress::LocalHost, m_port);
        return socket.waitForConnected(1000);
    }
};

/** tinyproxy (with @p more lines of configuration) or microsocks. */
class RunningProxy : public RunningProgram
{
public:
    explicit RunningProxy(const QString& program, const QByteArray& more = {})
    {
        QStringList arguments{QStringLiteral("-i"), QStringLiteral("127.0.0.1"),
                              QStringLiteral("-p"), QString::number(port())};
        if (program == QLatin1String("tinyproxy")) {
            const QString file =
                writeConfiguration("Port " + QByteArray::number(port()) +
                                   "\nListen 127.0.0.1\nTimeout 5\nMaxClients 10\n" + more);
            arguments = QStringList{QStringLiteral("-d"), QStringLiteral("-c"), file};
        }
        start(program, arguments);
    }

    [[nodiscard]] QNetworkProxy proxy(QNetworkProxy::ProxyType type) const
    {
        return QNetworkProxy(type, QStringLiteral("127.0.0.1"), port());
    }
};

} // namespace zk::test

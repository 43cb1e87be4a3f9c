#include "DifferentialFixture.h"
#include "Files.h"
#include "Rows.h"
#include "ToolRun.h"

#include "support/SystemProxy.h"

#include <QSslConfiguration>
#include <QStandardPaths>

using namespace zk;
using namespace zk::test;

namespace {

/** Where @p program is installed, empty when it is not. */
QString programPath(const QString& program)
{
    return QStandardPaths::findExecutable(program, {u"/usr/bin"_s, u"/usr/sbin"_s});
}

/** A real server on a port of 127.0.0.1, with a folder of its own; ended with this object. */
class RunningProgram
{
public:
    RunningProgram()
    {
        QTcpServer server;
        server.listen(QHostAddress::LocalHost);
        m_port = server.serverPort(); // nobody listens on it any more
    }
    ~RunningProgram() { stop(); }

    bool isThere() const { return m_isThere; }
    void stop()
    {
        m_process.kill();
        m_process.waitForFinished();
    }
    quint16 port() const { return m_port; }

protected:
    QTemporaryDir m_folder;

    /** Starts it and waits until it listens; does nothing where it is not installed. */
    void start(const QString& program, const QStringList& arguments)
    {
        m_process.setStandardOutputFile(QProcess::nullDevice());
        m_process.setStandardErrorFile(QProcess::nullDevice());
        m_process.start(programPath(program), arguments);
        m_isThere = m_process.waitForStarted() && QTest::qWaitFor([this] { return answers(); });
    }
    QString writeConfiguration(const QByteArray& text) const
    {
        QString path = m_folder.filePath(u"conf"_s);
        writeFile(path, text);
        return path;
    }

private:
    quint16 m_port = 0;
    QProcess m_process;
    bool m_isThere = false;

    bool answers() const
    {
        QTcpSocket socket;
        socket.setProxy(QNetworkProxy::NoProxy);
        socket.connectToHost(QHostAddress::LocalHost, m_port);
        return socket.waitForConnected(1000);
    }
};

class RunningProxy : public RunningProgram
{
public:
    RunningProxy()
    {
        const QByteArray port = QByteArray::number(this->port());
        start(u"tinyproxy"_s, {u"-d"_s, u"-c"_s,
                               writeConfiguration("Port " + port +
                                                  "\nListen 127.0.0.1\nTimeout 5\nMaxClients 10\n"
                                                  "BasicAuth somebody secret\n")});
    }
};

/** A server of files, whose first life is slow enough to be ended in the middle of a download. */
class RunningFileServer : public RunningProgram
{
public:
    RunningFileServer(const QString& program, const QByteArray& package)
        : m_program(program)
    {
        QDir(m_folder.path()).mkpath(u"www"_s);
        add(u"setup.exe"_s, package);
        // Some serve as a user of their own.
        const auto open = QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner |
                          QFileDevice::ReadOther | QFileDevice::ExeOther;
        QFile::setPermissions(m_folder.path(), open);
        QFile::setPermissions(m_folder.filePath(u"www"_s), open);
        run(true);
    }
    void add(const QString& name, const QByteArray& bytes) const
    {
        writeFile(m_folder.filePath(u"www/"_s + name), bytes);
        // A tag is weak as long as the file may change once more within the same second.
        QFile file(m_folder.filePath(u"www/"_s + name));
        (void)file.open(QIODevice::ReadWrite);
        file.setFileTime(QDateTime::currentDateTime().addDays(-1),
                         QFileDevice::FileModificationTime);
    }
    void restart()
    {
        stop();
        run(false);
    }
    QUrl url(const QString& name) const
    {
        return QUrl(u"http://127.0.0.1:%1/%2"_s.arg(port()).arg(name));
    }

private:
    QString m_program;

    void run(bool isSlow)
    {
        const QByteArray modules("LoadModule X_module /usr/lib/apache2/modules/mod_X.so\n");
        QByteArray text =
            "daemon off; master_process off; pid nginx.pid; events {}\n"
            "http { access_log off; server { listen 127.0.0.1:PORT; root www; SLOW } }\n";
        QByteArray slow("limit_rate 1m;");
        QStringList arguments{u"-p"_s, m_folder.path(), u"-e"_s, u"error.log"_s, u"-c"_s};
        if (m_program == u"lighttpd"_s) {
            text = "server.document-root = \"ROOT/www\"\nserver.bind = \"127.0.0.1\"\n"
                   "mimetype.assign = (\"\" => \"application/octet-stream\")\nserver.port = "
                   "PORT\nSLOW\n";
            slow = "connection.kbytes-per-second = 1000";
            arguments = QStringList{u"-D"_s, u"-f"_s};
        } else if (m_program == u"apache2"_s) {
            text = "ServerName localhost\nServerRoot ROOT\nPidFile ROOT/pid\nErrorLog ROOT/errors\n"
                   "Listen 127.0.0.1:PORT\nDocumentRoot ROOT/www\n";
            for (const char* module : {"mpm_prefork", "authz_core", "ratelimit", "env"}) {
                text += QByteArray(modules).replace('X', module);
            }
            text += "SLOW\n";
            slow = "SetOutputFilter RATE_LIMIT\nSetEnv rate-limit 1000";
            arguments = QStringList{u"-X"_s, u"-f"_s};
        }
        text.replace("ROOT", m_folder.path().toUtf8()).replace("PORT", QByteArray::number(port()));
        start(m_program, arguments << writeConfiguration(text.replace("SLOW", isSlow ? slow : "")));
    }
};

/** An update server as they are run in the field; over TLS when it has a certificate. */
class RunningNginx : public RunningProgram
{
public:
    explicit RunningNginx(const QString& certificate)
        : m_scheme(certificate.isEmpty() ? u"http"_s : u"https"_s)
    {
        const QDir www(file("www"));
        www.mkpath(u"store"_s);
        writeFile(www.filePath(u"doc.xml"_s), document(packageElement("4.3", "http://h/a.exe")));
        writeFile(www.filePath(u"store/setup.exe.gz"_s),
                  runTool(u"gzip"_s, www.path(), {u"-c"_s}, StandIn::bytes()));
        const QByteArray tls = certificate.isEmpty()
                                   ? ";"
                                   : " ssl; ssl_certificate " + certificate.toUtf8() +
                                         ".pem; ssl_certificate_key " + certificate.toUtf8() +
                                         ".key;";
        start(u"nginx"_s, {u"-p"_s, m_folder.path(), u"-e"_s, file("error.log"), u"-c"_s,
                           writeConfiguration(configuration(tls))});
    }

    QUrl url(const char* path) const
    {
        return QUrl(
            u"%1://127.0.0.1:%2/%3"_s.arg(m_scheme, QString::number(port()), QLatin1String(path)));
    }
    /** A line a request: its path, status, the encoding of the answer, and the proxy's name. */
    QStringList requests() const { return lines(readFile(file("access.log"))); }

private:
    QString m_scheme;

    QString file(const char* name) const { return m_folder.filePath(QLatin1String(name)); }
    QByteArray configuration(const QByteArray& tls) const
    {
        QByteArray text = "daemon off; master_process off; pid nginx.pid; events {}\nhttp {\n";
        for (const char* kind : {"client_body", "proxy", "fastcgi", "uwsgi", "scgi"}) {
            text += QByteArray(kind) + "_temp_path temp_" + kind + ";\n";
        }
        return text +
               "map $http_via $by { default -; ~tinyproxy tinyproxy; }\n"
               "log_format ours '$uri $status $sent_http_content_encoding $by';\n"
               "access_log access.log ours;\n"
               "types { text/xml xml; application/octet-stream exe; }\n"
               "gzip on; gzip_min_length 1; gzip_types text/xml; gzip_static on; gzip_proxied "
               "any;\n"
               "server { listen 127.0.0.1:" +
               QByteArray::number(port()) + tls +
               " root www;\n"
               "location /latest/ { rewrite ^/latest/(.*) /hop/$1 permanent; }\n"
               "location /hop/ { rewrite ^/hop/(.*) /$1 redirect; }\n"
               "location /back { return 302 $args; }\n"
               "} }\n";
    }
};

} // namespace

/** Servers and proxies as they are run in the field, with certificates made by openssl. */
class tst_RealPeers : public QObject
{
    Q_OBJECT

    QTemporaryDir m_certificates;
    QSslConfiguration m_systemTrust = QSslConfiguration::defaultConfiguration();
    QString m_missing;

    void openssl(const QByteArray& arguments) const
    {
        runTool(u"openssl"_s, m_certificates.path(), QString::fromUtf8(arguments).split(u' '));
    }
    void makeCertificate(const QByteArray& name, const QByteArray& subject, const QByteArray& days)
    {
        writeFile(m_certificates.filePath(u"ext"_s), "subjectAltName=" + subject);
        openssl("req -new -newkey rsa:2048 -nodes -keyout " + name + ".key -out csr -subj /CN=us");
        openssl("x509 -req -in csr -CA ca.pem -CAkey ca.key -CAcreateserial -extfile ext -out " +
                name + ".pem -days " + days);
    }
    void trustOurAuthority() const
    {
        QSslConfiguration trust = m_systemTrust;
        trust.addCaCertificates(m_certificates.filePath(u"ca.pem"_s));
        QSslConfiguration::setDefaultConfiguration(trust);
    }

private slots:
    void initTestCase()
    {
        dropOffscreenSizeHintLine();
        for (const char* program : {"nginx", "openssl", "gzip"}) {
            if (programPath(QLatin1String(program)).isEmpty()) {
                m_missing = QLatin1String(program) + u" is not installed"_s;
                return;
            }
        }
        openssl("req -x509 -newkey rsa:2048 -nodes -keyout ca.key -out ca.pem -days 2 -subj /CN=A");
        makeCertificate("good", "IP:127.0.0.1", "1");
        makeCertificate("other", "DNS:other.invalid", "1");
        makeCertificate("expired", "IP:127.0.0.1", "-1");
    }
    void cleanup() { QSslConfiguration::setDefaultConfiguration(m_systemTrust); }

    void installs_data()
    {
        columns<QString, bool, bool, int>("certificate", "isTrusted", "isProxied", "error");
        row("no TLS", "", false, false, 0);
        row("a certificate of an authority that is trusted", "good", true, false, 0);
        row("of an authority that is not", "good", false, false, 6);
        row("for another host name", "other", true, false, 6);
        row("an expired one", "expired", true, false, 6);
        row("a proxy that wants a password", "", false, true, 0);
    }
    void installs()
    {
        QFETCH(QString, certificate);
        QFETCH(bool, isTrusted);
        QFETCH(bool, isProxied);
        QFETCH(int, error);
        const RunningProxy proxy;
        if (!m_missing.isEmpty()) {
            QSKIP(qPrintable(m_missing));
        }
        if (isProxied && !proxy.isThere()) {
            QSKIP("tinyproxy is not installed");
        }
        if (isTrusted) {
            trustOurAuthority();
        }
        const RunningNginx server(certificate.isEmpty() ? QString()
                                                        : m_certificates.filePath(certificate));
        InstallFixture f;
        f.show(server.url("latest/store/setup.exe"));
        f.client->setNetworkProxy(isProxied
                                      ? QNetworkProxy(QNetworkProxy::HttpProxy, u"127.0.0.1"_s,
                                                      proxy.port(), u"somebody"_s, u"secret"_s)
                                      : QNetworkProxy::NoProxy);

        f.install();
        const auto box = u"window, Download Error: Error code %1"_s.arg(error);
        QTRY_COMPARE(f.end(), error == 0 ? u"started, setup.exe"_s : box);
        f.client->performUpdateCheck(server.url("latest/doc.xml"));
        QTRY_VERIFY(!f.isChecking());
        QCOMPARE(f.client->state(),
                 error == 0 ? SoftwareUpdate::eUpdateAvailable : SoftwareUpdate::eError);
        QStringList expected;
        if (error == 0) {
            expected = lines("/latest/store/setup.exe 301 -\n/hop/store/setup.exe 302 -\n"
                             "/store/setup.exe 200 gzip\n/latest/doc.xml 301 -\n"
                             "/hop/doc.xml 302 -\n/doc.xml 200 gzip");
        }
        for (QString& line : expected) {
            line += isProxied ? u" tinyproxy"_s : u" -"_s;
        }
        QTRY_COMPARE(server.requests(), expected);
    }

    void continuesWhenItsServerIsBack_data()
    {
        columns<QString, bool>("program", "isProxied");
        row("nginx", "nginx", false);
        row("nginx behind a proxy", "nginx", true);
        row("lighttpd", "lighttpd", false);
        row("Apache", "apache2", false);
    }
    void continuesWhenItsServerIsBack()
    {
        QFETCH(QString, program);
        QFETCH(bool, isProxied);
        const RunningProxy proxy;
        if (programPath(program).isEmpty() || (isProxied && !proxy.isThere())) {
            QSKIP("the server or the proxy is not installed");
        }
        // What follows a program does no harm.
        RunningFileServer server(program, StandIn::bytes() + QByteArray(8'000'000, 'x'));
        QVERIFY(server.isThere());
        InstallFixture f;
        const ScopedVariable variable("XDG_CACHE_HOME", f.temporary.path());
        const QDir cache(DownloadCache(u"Viewer"_s).folder());
        f.show(server.url(u"setup.exe"_s));
        if (isProxied) {
            f.client->setNetworkProxy({QNetworkProxy::HttpProxy, u"127.0.0.1"_s, proxy.port(),
                                       u"somebody"_s, u"secret"_s});
        }
        UpdateOptions options = UpdateOptions::recommended();
        options.download.firstPause = std::chrono::milliseconds(500);
        f.client->setOptions(options);
        f.install();
        QTRY_VERIFY(cache.entryInfoList({u"*.part"_s}).value(0).size() > 500'000);
        server.restart();
        QTRY_COMPARE_WITH_TIMEOUT(f.end(), u"started, setup.exe"_s, 15'000);
        QVERIFY2(!f.log.lines(Log::eInfo).filter(u"the server continues after"_s).isEmpty(),
                 qPrintable(f.log.lines(Log::eWarning).join(u'\n')));
        QVERIFY(f.log.lines(Log::eWarning).filter(u"begins anew"_s).isEmpty());
    }

    void fetchesWhatChanged_data() { continuesWhenItsServerIsBack_data(); }
    void fetchesWhatChanged()
    {
        QFETCH(QString, program);
        QFETCH(bool, isProxied);
        const RunningProxy proxy;
        if (programPath(program).isEmpty() || (isProxied && !proxy.isThere())) {
            QSKIP("the server or the proxy is not installed");
        }
        DifferentialFixture f;
        RunningFileServer server(program, {});
        server.add(u"update.zip"_s, f.archive.body);
        server.add(u"update.zip.manifest"_s, f.manifest);
        server.add(u"update.zip.manifest.minisig"_s,
                   f.signatureOf("update.zip.manifest", f.manifest));
        server.restart();
        f.show(server.url(u"update.zip"_s));
        if (isProxied) {
            f.client->setNetworkProxy({QNetworkProxy::HttpProxy, u"127.0.0.1"_s, proxy.port(),
                                       u"somebody"_s, u"secret"_s});
        }
        f.install();
        QTRY_COMPARE(f.restarts(), 1);
        QVERIFY(f.made("a program") == f.changed);
        QVERIFY(f.made("data") == readFile(f.installed));
    }

    void followsToTlsButNotBack()
    {
        if (!m_missing.isEmpty()) {
            QSKIP(qPrintable(m_missing));
        }
        trustOurAuthority();
        const RunningNginx server(m_certificates.filePath(u"good"_s));
        InstallFixture f;
        f.server.answer("/program", http(200, f.program));
        const QByteArray back = "back?" + f.server.url("/program").toEncoded();
        f.server.answer("/setup.exe", redirect(302, server.url(back.constData()).toEncoded()));
        f.install();
        QTRY_COMPARE(f.end(), u"window, Download Error: Error code %1"_s.arg(
                                  QNetworkReply::InsecureRedirectError));
        f.events.clear();
        f.client->performUpdateCheck(f.server.url("/setup.exe"));
        QTRY_COMPARE(f.events.constLast(), u"message Insecure redirect"_s);
        QCOMPARE(f.client->state(), SoftwareUpdate::eError);
        QCOMPARE(f.log.lines(Log::eWarning).filter(u"redirect is not"_s).size(), 2);
    }

    void takesTheFirstOfTheSystem()
    {
        const LogCapture log;
        QList<QNetworkProxy> offered;
        QList<QByteArray> asked;
        const auto lookup = [&](const QNetworkProxyQuery& query) {
            asked << query.url().toEncoded();
            return offered;
        };
        QCOMPARE(systemProxy(u"http://h/a b"_s, lookup), QNetworkProxy(QNetworkProxy::NoProxy));
        offered = {QNetworkProxy(QNetworkProxy::Socks5Proxy, u"other"_s, 1080),
                   QNetworkProxy(QNetworkProxy::HttpProxy, u"gateway"_s, 3128)};
        QCOMPARE(systemProxy(u"http://h/%1"_s.arg(QChar(0x6d4b)), lookup), offered[0]);
        QCOMPARE(asked, (QList<QByteArray>{"http://h/a%20b", "http://h/?"}));
        QCOMPARE(log.lines(Log::eInfo),
                 QStringList{u"[zk::SoftwareUpdateClient::networkProxy] Proxy: other:1080 (1)"_s});
    }

    void takesTheHostsChoiceUntilToldOtherwise()
    {
        // A server that answers whatever it is asked for, as a proxy is.
        ScriptedServer system;
        const QByteArray url("http://updates.invalid/doc.xml");
        system.answer(url, http(200, "<softwareList/>"));
        const ScopedVariable variable("http_proxy", system.url("").toString());
        ClientFixture f;
        f.server.answer("/doc.xml", http(200, "<softwareList/>"));
        f.settings.values[AppSettings::UpdateServerUrl] = QString::fromLatin1(url);
        f.client->setSystemProxy();
        f.client->checkForUpdate();
        QTRY_VERIFY(!f.isChecking());
#ifdef Q_OS_LINUX
        QCOMPARE(f.client->state(), SoftwareUpdate::eNoUpdateAvailable);
        QCOMPARE(system.requests().size(), 1);
#endif
        // Of whatever type: no proxy means a direct connection, and the system is not asked.
        f.client->setNetworkProxy(QNetworkProxy(QNetworkProxy::NoProxy));
        f.check();
        QTRY_COMPARE(f.client->state(), SoftwareUpdate::eNoUpdateAvailable);
        QCOMPARE(f.server.requests().size(), 1);
    }
};

QTEST_MAIN(tst_RealPeers)
#include "tst_RealPeers.moc"

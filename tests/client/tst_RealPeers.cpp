#include "InstallFixture.h"
#include "MessageFilter.h"
#include "Rows.h"
#include "RunningProgram.h"

#include "install/FileDownloader.h"

#include <QSslCertificate>
#include <QSslConfiguration>
#include <QSslSocket>

using namespace zk;

/** Update servers as they are run in the field: nginx, with certificates made by openssl. */
class tst_RealPeers : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void cleanup() { QSslConfiguration::setDefaultConfiguration(m_systemTrust); }
    void readsCompressedDocumentsBehindRedirects();
    void downloadsWhatIsCompressed_data();
    void downloadsWhatIsCompressed();
    void trustsWhatTheHostTrusts_data();
    void trustsWhatTheHostTrusts();
    void checksThroughTunnels_data();
    void checksThroughTunnels();
    void installsOverTls();

private:
    QTemporaryDir m_certificates;
    QSslConfiguration m_systemTrust = QSslConfiguration::defaultConfiguration();

    void makeCertificate(const QString& name, const QString& subject, const QString& days);
    void trustOurAuthority() const;
};

namespace {

const auto nginx = QStringLiteral("nginx");
constexpr int packageSize = 200'000;

void openssl(const QString& folder, const QStringList& arguments)
{
    QProcess process;
    process.setWorkingDirectory(folder);
    process.setProcessChannelMode(QProcess::MergedChannels);
    process.start(QStringLiteral("openssl"), arguments);
    const bool isDone = process.waitForFinished() && process.exitCode() == 0;
    QVERIFY2(isDone, process.readAll().constData());
}

void write(const QString& path, const QByteArray& data)
{
    QDir().mkpath(QFileInfo(path).absolutePath());
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly) && file.write(data) == data.size());
}

/** What an update server compresses ahead of time. */
QByteArray gzip(const QByteArray& data)
{
    QProcess process;
    process.start(QStringLiteral("gzip"), {QStringLiteral("-c")});
    process.write(data);
    process.closeWriteChannel();
    process.waitForFinished();
    return process.readAllStandardOutput();
}

/** nginx with an update document, packages, redirects, and TLS with the certificate @p name. */
class RunningNginx : public test::RunningProgram
{
public:
    explicit RunningNginx(const QString& certificates = {}, const QString& name = {})
    {
        const QByteArray package(packageSize, 'x');
        write(file("www/doc.xml"), test::document(test::packageElement("4.3", "http://h/a.exe")));
        write(file("www/store/plain.exe"), package);
        write(file("www/store/packed.exe.gz"), gzip(package));
        write(file("www/store/flying.xml"), package);
        write(file("www/store/setup.exe"), test::StandIn::bytes());
        const QString path = certificates + QLatin1Char('/') + name;
        const QByteArray tls = name.isEmpty()
                                   ? QByteArray(";")
                                   : " ssl; ssl_certificate " + path.toUtf8() +
                                         ".pem; ssl_certificate_key " + path.toUtf8() + ".key;";
        start(nginx,
              {QStringLiteral("-p"), m_folder.path(), QStringLiteral("-e"), file("error.log"),
               QStringLiteral("-c"), writeConfiguration(configuration(tls))});
    }

    [[nodiscard]] QUrl url(const char* scheme, const char* path) const
    {
        return QUrl(QStringLiteral("%1://127.0.0.1:%2/%3")
                        .arg(QLatin1String(scheme))
                        .arg(port())
                        .arg(QLatin1String(path)));
    }
    /** A line a request: its path, status and the encoding of the answer. */
    [[nodiscard]] QStringList requests() const
    {
        QFile log(file("access.log"));
        return log.open(QIODevice::ReadOnly)
                   ? QString::fromUtf8(log.readAll()).split(QLatin1Char('\n'), Qt::SkipEmptyParts)
                   : QStringList();
    }

private:
    [[nodiscard]] QString file(const char* name) const
    {
        return m_folder.filePath(QLatin1String(name));
    }
    [[nodiscard]] QByteArray configuration(const QByteArray& tls) const
    {
        QByteArray text = "daemon off; master_process off; pid nginx.pid; events {}\nhttp {\n";
        for (const char* kind : {"client_body", "proxy", "fastcgi", "uwsgi", "scgi"}) {
            text += QByteArray(kind) + "_temp_path temp_" + kind + ";\n";
        }
        return text +
               "log_format ours '$uri $status $sent_http_content_encoding';\n"
               "access_log access.log ours;\n"
               "types { text/xml xml; application/octet-stream exe; }\n"
               "gzip on; gzip_min_length 1; gzip_types text/xml; gzip_static on;\n"
               "server { listen 127.0.0.1:" +
               QByteArray::number(port()) + tls +
               " root www;\n"
               "location /latest/ { rewrite ^/latest/(.*) /hop/$1 permanent; }\n"
               "location /hop/ { rewrite ^/hop/(.*) /$1 redirect; }\n"
               "} }\n";
    }
};

int checked(test::ClientFixture& f, const QUrl& url)
{
    f.client->performUpdateCheck(url);
    (void)QTest::qWaitFor([&f] { return !f.isChecking(); }, 10'000);
    return f.client->state();
}

FileDownloader::Result downloaded(const QUrl& url, QByteArray* body)
{
    const QTemporaryDir folder;
    FileDownloader downloader;
    FileDownloader::Result result;
    bool isComplete = false;
    downloader.setCompletionCallback([&](const FileDownloader::Result& ended) {
        result = ended;
        isComplete = true;
    });
    downloader.setProxy(QNetworkProxy::NoProxy);
    downloader.downloadFile(url, folder.filePath(QStringLiteral("file")));
    (void)QTest::qWaitFor([&isComplete] { return isComplete; }, 10'000);
    QFile file(folder.filePath(QStringLiteral("file")));
    *body = file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    return result;
}

} // namespace

void tst_RealPeers::initTestCase()
{
    test::dropOffscreenSizeHintLine();
    for (const auto& program : {nginx, QStringLiteral("openssl"), QStringLiteral("gzip")}) {
        if (test::programPath(program).isEmpty()) {
            QSKIP(qPrintable(program + QStringLiteral(" is not installed")));
        }
    }
    if (!QSslSocket::supportsSsl()) {
        QSKIP("this Qt has no TLS");
    }
    openssl(m_certificates.path(),
            QString::fromLatin1("req -x509 -newkey rsa:2048 -nodes -keyout ca.key -out ca.pem "
                                "-days 2 -subj /CN=Authority")
                .split(QLatin1Char(' ')));
    makeCertificate(QStringLiteral("good"), QStringLiteral("IP:127.0.0.1"), QStringLiteral("1"));
    makeCertificate(QStringLiteral("other"), QStringLiteral("DNS:other.invalid"),
                    QStringLiteral("1"));
    makeCertificate(QStringLiteral("expired"), QStringLiteral("IP:127.0.0.1"),
                    QStringLiteral("-1"));
}

void tst_RealPeers::makeCertificate(const QString& name, const QString& subject,
                                    const QString& days)
{
    write(m_certificates.filePath(name + QStringLiteral(".ext")),
          "subjectAltName=" + subject.toLatin1());
    const QString request = QStringLiteral("req -new -newkey rsa:2048 -nodes -keyout %1.key -out "
                                           "%1.csr -subj /CN=%1");
    const QString sign = QStringLiteral("x509 -req -in %1.csr -CA ca.pem -CAkey ca.key "
                                        "-CAcreateserial -extfile %1.ext -days %2 -out %1.pem");
    openssl(m_certificates.path(), request.arg(name).split(QLatin1Char(' ')));
    openssl(m_certificates.path(), sign.arg(name, days).split(QLatin1Char(' ')));
}

void tst_RealPeers::trustOurAuthority() const
{
    QSslConfiguration trust = m_systemTrust;
    trust.setCaCertificates(
        trust.caCertificates() +
        QSslCertificate::fromPath(m_certificates.filePath(QStringLiteral("ca.pem"))));
    QSslConfiguration::setDefaultConfiguration(trust);
}

void tst_RealPeers::readsCompressedDocumentsBehindRedirects()
{
    const RunningNginx server;
    QVERIFY(server.isThere());
    test::ClientFixture f;
    QCOMPARE(checked(f, server.url("http", "latest/doc.xml")),
             int(SoftwareUpdate::eUpdateAvailable));
    QTRY_COMPARE(server.requests(), QStringList({QStringLiteral("/latest/doc.xml 301 -"),
                                                 QStringLiteral("/hop/doc.xml 302 -"),
                                                 QStringLiteral("/doc.xml 200 gzip")}));
}

void tst_RealPeers::downloadsWhatIsCompressed_data()
{
    test::columns<QString, QString>("path", "encoding");
    test::row("not compressed", "plain.exe", "-");
    test::row("compressed on the fly", "flying.xml", "gzip");
    test::row("compressed ahead of time, with the length of that", "packed.exe", "gzip");
}

void tst_RealPeers::downloadsWhatIsCompressed()
{
    QFETCH(QString, path);
    QFETCH(QString, encoding);
    const RunningNginx server;
    QByteArray body;
    QVERIFY(
        downloaded(server.url("http", qPrintable(QStringLiteral("latest/store/") + path)), &body)
            .isWholeFile());
    QCOMPARE(body, QByteArray(packageSize, 'x'));
    QTRY_COMPARE(server.requests().size(), 3);
    QCOMPARE(server.requests().constLast(), QStringLiteral("/store/%1 200 %2").arg(path, encoding));
}

void tst_RealPeers::trustsWhatTheHostTrusts_data()
{
    test::columns<QString, bool, int>("certificate", "isTrusted", "state");
    test::row("a certificate of an authority that the host trusts", "good", true,
              int(SoftwareUpdate::eUpdateAvailable));
    test::row("of an authority that it does not trust", "good", false, int(SoftwareUpdate::eError));
    test::row("for another host name", "other", true, int(SoftwareUpdate::eError));
    test::row("an expired one", "expired", true, int(SoftwareUpdate::eError));
}

void tst_RealPeers::trustsWhatTheHostTrusts()
{
    QFETCH(QString, certificate);
    QFETCH(bool, isTrusted);
    QFETCH(int, state);
    const RunningNginx server(m_certificates.path(), certificate);
    QVERIFY(server.isThere());
    if (isTrusted) {
        trustOurAuthority();
    }
    test::ClientFixture f;
    QCOMPARE(checked(f, server.url("https", "doc.xml")), state);
    QByteArray body;
    const auto result = downloaded(server.url("https", "store/plain.exe"), &body);
    const bool isAccepted = state == SoftwareUpdate::eUpdateAvailable;
    QCOMPARE(result.error,
             isAccepted ? QNetworkReply::NoError : QNetworkReply::SslHandshakeFailedError);
    QCOMPARE(result.isWholeFile(), isAccepted);
    QCOMPARE(body.size(), isAccepted ? packageSize : 0);
    QTRY_COMPARE(server.requests().size(), isAccepted ? 2 : 0);
}

void tst_RealPeers::checksThroughTunnels_data()
{
    test::columns<QString, QByteArray, QString, int>("program", "configuration", "user", "state");
    const QByteArray password = "BasicAuth somebody secret\n";
    test::row("an HTTP proxy", "tinyproxy", QByteArray(), QString(),
              int(SoftwareUpdate::eUpdateAvailable));
    test::row("an HTTP proxy with a password", "tinyproxy", password, "somebody",
              int(SoftwareUpdate::eUpdateAvailable));
    test::row("an HTTP proxy that misses a password", "tinyproxy", password, QString(),
              int(SoftwareUpdate::eError));
    test::row("a SOCKS 5 proxy", "microsocks", QByteArray(), QString(),
              int(SoftwareUpdate::eUpdateAvailable));
}

void tst_RealPeers::checksThroughTunnels()
{
    QFETCH(QString, program);
    QFETCH(QByteArray, configuration);
    QFETCH(QString, user);
    QFETCH(int, state);
    const test::RunningProxy running(program, configuration);
    if (!running.isThere()) {
        QSKIP("the proxy program is not installed");
    }
    const RunningNginx server(m_certificates.path(), QStringLiteral("good"));
    trustOurAuthority();
    test::ClientFixture f;
    const bool isSocks = program == QLatin1String("microsocks");
    QNetworkProxy proxy =
        running.proxy(isSocks ? QNetworkProxy::Socks5Proxy : QNetworkProxy::HttpProxy);
    proxy.setUser(user);
    proxy.setPassword(user.isEmpty() ? QString() : QStringLiteral("secret"));
    f.client->setNetworkProxy(proxy);
    QCOMPARE(checked(f, server.url("https", "doc.xml")), state);
    QTRY_COMPARE(server.requests().size(), state == SoftwareUpdate::eError ? 0 : 1);
}

void tst_RealPeers::installsOverTls()
{
    const RunningNginx server(m_certificates.path(), QStringLiteral("good"));
    trustOurAuthority();
    test::InstallFixture f;
    const QByteArray url = server.url("https", "latest/store/setup.exe").toEncoded();
    f.server.answer("/doc.xml", test::http(200, test::document(test::packageElement("4.3", url))));
    f.showOffer();
    f.install();
    QTRY_VERIFY(f.wasStarted());
    QCOMPARE(f.leftovers(), QStringList{QStringLiteral("setup.exe")});
    QTRY_COMPARE(server.requests().constLast(), QStringLiteral("/store/setup.exe 200 -"));
}

QTEST_MAIN(tst_RealPeers)
#include "tst_RealPeers.moc"

#include "ClientFixture.h"
#include "LogCapture.h"
#include "MessageFilter.h"
#include "Rows.h"
#include "RunningProgram.h"

#include "client/SystemProxy.h"
#include "install/FileDownloader.h"

#include <QTemporaryDir>
#include <QTest>

using namespace zk;

class tst_Proxies : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { test::dropOffscreenSizeHintLine(); }
    void takesTheFirstOfTheSystem_data();
    void takesTheFirstOfTheSystem();
    void asksTheSystemByTheServersAddress();
    void goesThroughRealProxies_data();
    void goesThroughRealProxies();
    void reportsMissingCredentials();
    void takesTheHostsChoiceUntilToldOtherwise();
    void failsWhenTheProxyIsGone();
};

namespace {

const char* const elsewhere = "http://updates.invalid/doc.xml";

} // namespace

void tst_Proxies::takesTheFirstOfTheSystem_data()
{
    test::columns<QList<QNetworkProxy>, QString>("offered", "chosen");
    const QNetworkProxy http(QNetworkProxy::HttpProxy, QStringLiteral("gateway"), 3128);
    const QNetworkProxy socks(QNetworkProxy::Socks5Proxy, QStringLiteral("other"), 1080);
    test::row("none", QList<QNetworkProxy>(), QString());
    test::row("one", QList<QNetworkProxy>{http}, "gateway:3128 (3)");
    test::row("several", QList<QNetworkProxy>{socks, http}, "other:1080 (1)");
    test::row("a direct connection", QList<QNetworkProxy>{QNetworkProxy::NoProxy}, ":0 (2)");
}

void tst_Proxies::takesTheFirstOfTheSystem()
{
    QFETCH(QList<QNetworkProxy>, offered);
    QFETCH(QString, chosen);
    const test::LogCapture log;
    const QNetworkProxy proxy = systemProxy(
        QStringLiteral("http://h/"), [&](const QNetworkProxyQuery& /*query*/) { return offered; });
    QCOMPARE(proxy, offered.isEmpty() ? QNetworkProxy(QNetworkProxy::NoProxy) : offered.first());
    const QString line =
        QStringLiteral("[zk::SoftwareUpdateClient::networkProxy] Proxy: ") + chosen;
    QCOMPARE(log.lines(Log::eInfo), chosen.isEmpty() ? QStringList() : QStringList{line});
}

void tst_Proxies::asksTheSystemByTheServersAddress()
{
    QList<QNetworkProxyQuery> queries;
    const auto lookup = [&](const QNetworkProxyQuery& query) {
        queries << query;
        return QList<QNetworkProxy>();
    };
    systemProxy(QStringLiteral("http://h/a b"), lookup);
    systemProxy(QStringLiteral("http://h/%1").arg(QChar(0x6d4b)), lookup);
    systemProxy(QStringLiteral("http://%1.example/").arg(QChar(0x6d4b)), lookup);
    QCOMPARE(queries.size(), 3);
    QCOMPARE(queries[0].queryType(), QNetworkProxyQuery::UrlRequest);
    QCOMPARE(queries[0].url().toEncoded(), QByteArray("http://h/a%20b"));
    QCOMPARE(queries[1].url().toString(), QStringLiteral("http://h/?"));
    QVERIFY(!queries[2].url().toString().contains(QChar(0x6d4b)));
}

void tst_Proxies::goesThroughRealProxies_data()
{
    test::columns<QString, int>("program", "type");
    test::row("HTTP", "tinyproxy", int(QNetworkProxy::HttpProxy));
    test::row("SOCKS 5", "microsocks", int(QNetworkProxy::Socks5Proxy));
}

void tst_Proxies::goesThroughRealProxies()
{
    QFETCH(QString, program);
    QFETCH(int, type);
    const test::RunningProxy running(program);
    if (!running.isThere()) {
        QSKIP("the proxy program is not installed");
    }
    test::ClientFixture f;
    f.server.answer("/doc.xml", test::http(200, "<softwareList/>"));
    f.server.answer("/file", test::http(200, "file"));
    f.client->setNetworkProxy(running.proxy(QNetworkProxy::ProxyType(type)));
    f.check();
    QTRY_COMPARE(f.client->state(), SoftwareUpdate::eNoUpdateAvailable);
    // tinyproxy says that it was there; microsocks leaves the bytes alone.
    QCOMPARE(f.server.requests()[0].header("Via").contains("tinyproxy"),
             program == QLatin1String("tinyproxy"));

    QTemporaryDir folder;
    FileDownloader downloader;
    FileDownloader::Result result;
    bool isComplete = false;
    downloader.setCompletionCallback([&](const FileDownloader::Result& ended) {
        result = ended;
        isComplete = true;
    });
    downloader.setProxy(running.proxy(QNetworkProxy::ProxyType(type)));
    downloader.downloadFile(f.server.url("/file"), folder.filePath(QStringLiteral("file")));
    QTRY_VERIFY(isComplete);
    QVERIFY(result.isWholeFile());
    QCOMPARE(f.server.requests()[1].header("Via").isEmpty(), program != QLatin1String("tinyproxy"));
}

void tst_Proxies::reportsMissingCredentials()
{
    const test::RunningProxy running(QStringLiteral("tinyproxy"), "BasicAuth somebody secret\n");
    if (!running.isThere()) {
        QSKIP("tinyproxy is not installed");
    }
    test::ClientFixture f;
    f.server.answer("/doc.xml", test::http(200, "<softwareList/>"));
    QNetworkProxy proxy = running.proxy(QNetworkProxy::HttpProxy);
    f.client->setNetworkProxy(proxy);
    f.check();
    QTRY_COMPARE(f.client->state(), SoftwareUpdate::eError);
    QVERIFY(f.server.requests().isEmpty());
    proxy.setUser(QStringLiteral("somebody"));
    proxy.setPassword(QStringLiteral("secret"));
    f.client->setNetworkProxy(proxy);
    f.check();
    QTRY_COMPARE(f.client->state(), SoftwareUpdate::eNoUpdateAvailable);
    QCOMPARE(f.server.requests().size(), 1);
}

void tst_Proxies::takesTheHostsChoiceUntilToldOtherwise()
{
    // A server that answers whatever it is asked for, as a proxy is.
    test::ScriptedServer system;
    const QByteArray url(elsewhere);
    system.answer(url, test::http(200, "<softwareList/>"));
    qputenv("http_proxy", system.url("").toEncoded());
    const test::LogCapture log;
    test::ClientFixture f;
    f.server.answer("/doc.xml", test::http(200, "<softwareList/>"));
    f.settings.values[AppSettings::UpdateServerUrl] = QString::fromLatin1(url);
    f.client->setSystemProxy();
    f.client->checkForUpdate();
    QTRY_VERIFY(!f.isChecking());
#ifdef Q_OS_LINUX
    QCOMPARE(f.client->state(), SoftwareUpdate::eNoUpdateAvailable);
    QCOMPARE(system.requests().size(), 1);
#endif
    const int lines = log.lines(Log::eInfo).filter(QStringLiteral("Proxy: ")).size();
    // Of whatever type: no proxy means a direct connection, and the system is not asked.
    f.client->setNetworkProxy(QNetworkProxy(QNetworkProxy::NoProxy));
    f.check();
    QTRY_COMPARE(f.client->state(), SoftwareUpdate::eNoUpdateAvailable);
    QCOMPARE(f.server.requests().size(), 1);
    QCOMPARE(log.lines(Log::eInfo).filter(QStringLiteral("Proxy: ")).size(), lines);
    qunsetenv("http_proxy");
}

void tst_Proxies::failsWhenTheProxyIsGone()
{
    test::ClientFixture f;
    f.client->setNetworkProxy(
        QNetworkProxy(QNetworkProxy::HttpProxy, QStringLiteral("127.0.0.1"), 1));
    f.check();
    QTRY_COMPARE(f.client->state(), SoftwareUpdate::eError);
    QVERIFY(f.events.last().endsWith(QLatin1String("onnection refused")));
    QVERIFY(f.server.requests().isEmpty());
}

QTEST_MAIN(tst_Proxies)
#include "tst_Proxies.moc"

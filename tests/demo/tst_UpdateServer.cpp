#include "Rows.h"

#include "catalogue/DocumentParser.h"
#include "demo/DemoContent.h"
#include "demo/UpdateServer.h"

#include <QBuffer>
#include <QElapsedTimer>
#include <QNetworkAccessManager>
#include <QNetworkProxy>
#include <QNetworkReply>
#include <QTcpSocket>
#include <QTest>

Q_DECLARE_METATYPE(demo::UpdateServer::Answer)

using demo::UpdateServer;
using ReplyPointer = std::unique_ptr<QNetworkReply>;

namespace {

constexpr int patience = 10000;

bool waitUntilFinished(const ReplyPointer& reply)
{
    return QTest::qWaitFor([&reply] { return reply->isFinished(); }, patience);
}

int status(const ReplyPointer& reply)
{
    return reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
}

} // namespace

class tst_UpdateServer : public QObject
{
    Q_OBJECT

private:
    QNetworkAccessManager m_manager;

    ReplyPointer get(const QUrl& url) { return ReplyPointer(m_manager.get(QNetworkRequest(url))); }

private slots:
    void initTestCase() { m_manager.setProxy(QNetworkProxy(QNetworkProxy::NoProxy)); }
    void cleanup() { m_manager.clearConnectionCache(); }

    void answersAsConfigured_data()
    {
        zk::test::columns<UpdateServer::Answer, int, QByteArray, QByteArray, QByteArray>(
            "answer", "status", "header", "value", "body");
        const QByteArray moved = "The page has moved.\n";
        for (const int code : {301, 302, 303, 307, 308}) {
            QTest::addRow("%d to an absolute target", code)
                << UpdateServer::redirect(code, "http://127.0.0.1:1/next") << code
                << QByteArray("Location") << QByteArray("http://127.0.0.1:1/next") << moved;
        }
        zk::test::row("302 to a relative target", UpdateServer::redirect(302, "next?x=1"), 302,
                      QByteArray("Location"), QByteArray("next?x=1"), moved);
        zk::test::row("302 without a target", UpdateServer::redirect(302, QByteArray()), 302,
                      QByteArray("Location"), QByteArray(), moved);
        zk::test::row("404", UpdateServer::failure(404), 404, QByteArray("Content-Type"),
                      QByteArray("text/plain"), QByteArray("Error 404\n"));
        // The manager takes the encoding's header away together with the encoding.
        zk::test::row("gzip", UpdateServer::gzipped("text/xml", QByteArray(100000, 'z')), 200,
                      QByteArray("Content-Type"), QByteArray("text/xml"), QByteArray(100000, 'z'));
        UpdateServer::Answer slow = UpdateServer::page("text/plain", "0123456789");
        slow.pieceSize = 3;
        slow.pause = 20;
        zk::test::row("slow body", slow, 200, QByteArray("Content-Length"), QByteArray("10"),
                      QByteArray("0123456789"));
    }
    void answersAsConfigured()
    {
        QFETCH(UpdateServer::Answer, answer);
        QFETCH(QByteArray, header);
        UpdateServer server;
        server.setAnswer(QStringLiteral("/page"), answer);
        QUrl url = server.url(QStringLiteral("/page"));
        url.setQuery(QStringLiteral("lang=de"));
        QNetworkRequest request(url);
        request.setAttribute(QNetworkRequest::RedirectPolicyAttribute,
                             QNetworkRequest::ManualRedirectPolicy);
        const ReplyPointer reply(m_manager.get(request));
        QElapsedTimer timer;
        timer.start();
        QVERIFY(waitUntilFinished(reply));
        QTEST(status(reply), "status");
        QTEST(reply->rawHeader(header), "value");
        QTEST(reply->readAll(), "body");
        QVERIFY(timer.elapsed() >= 3LL * answer.pause);
    }

    void servesTheDocumentItWasGivenLastAndRecordsRequests()
    {
        UpdateServer server;
        QVERIFY(server.isListening());
        QNetworkRequest missing(server.url(QStringLiteral("/a b")));
        missing.setHeader(QNetworkRequest::ContentTypeHeader, QByteArrayLiteral("text/xml"));
        const ReplyPointer first(m_manager.get(missing));
        QVERIFY(waitUntilFinished(first));
        QCOMPARE(status(first), 404);
        for (const QByteArray& document : {QByteArray(), QByteArray(3000000, 'x')}) {
            server.setDocument(document);
            const ReplyPointer reply = get(server.url());
            QVERIFY(waitUntilFinished(reply));
            QCOMPARE(reply->header(QNetworkRequest::ContentTypeHeader).toByteArray(), "text/xml");
            QCOMPARE(reply->readAll(), document);
        }
        const QList<UpdateServer::Request> requests = server.requests();
        QCOMPARE(requests.size(), 3);
        QCOMPARE(requests[0].method, "GET");
        QCOMPARE(requests[0].path, "/a%20b");
        QCOMPARE(requests[0].header("content-type"), "text/xml");
        QVERIFY(requests[0].header("REMOTE_ADDR").isNull());
        server.clearRequests();
        QVERIFY(server.requests().isEmpty());
    }

    void stopsInAMoment_data()
    {
        zk::test::columns<UpdateServer::Answer>("answer");
        zk::test::row("an idle connection that is kept alive", UpdateServer::page("a/b", "c"));
        zk::test::row("requests that hang", UpdateServer::hanging());
        UpdateServer::Answer slow = UpdateServer::page("a/b", QByteArray(1000, 'x'));
        slow.pieceSize = 1;
        slow.pause = 60000;
        zk::test::row("slow bodies", slow);
    }
    void stopsInAMoment()
    {
        QFETCH(UpdateServer::Answer, answer);
        auto server = std::make_unique<UpdateServer>();
        server->setAnswer(QStringLiteral("/page"), answer);
        const QUrl url = server->url(QStringLiteral("/page"));
        const ReplyPointer replies[] = {get(url), get(url), get(url)};
        QTRY_COMPARE(server->requests().size(), 3);
        QTcpSocket silent;
        silent.setProxy(QNetworkProxy(QNetworkProxy::NoProxy));
        silent.connectToHost(url.host(), quint16(url.port()));
        QVERIFY(silent.waitForConnected());
        if (answer.hang) {
            QVERIFY(!replies[0]->isFinished());
        }

        QElapsedTimer timer;
        timer.start();
        server.reset();
#ifdef Q_OS_WIN
        // Under Wine shutdown() does not wake who waits in recv(); the socket's time-out does.
        constexpr int moment = 6000;
#else
        constexpr int moment = 500;
#endif
        QVERIFY2(timer.elapsed() < moment, qPrintable(QString::number(timer.elapsed())));
        silent.abort();
        silent.connectToHost(url.host(), quint16(url.port()));
        QVERIFY(!silent.waitForConnected());
    }

    void publishesEverythingItsDocumentMentions()
    {
        UpdateServer server;
        demo::publishUpdates(server);
        QByteArray document = server.answer(UpdateServer::documentPath()).body;
        QBuffer buffer(&document);
        QVERIFY(buffer.open(QIODevice::ReadOnly));
        const zk::PackageInfoList packages = zk::UpdateDocument::parse(&buffer);
        QCOMPARE(packages.size(), 13);
        for (const zk::PackageInfo& package : packages) {
            const UpdateServer::Answer file = server.answer(package.url.path());
            QCOMPARE(file.status, 200);
            QCOMPARE(quint32(file.body.size()), package.fileSize);
            QVERIFY(package.releaseDate.isValid());
            QVERIFY(package.releaseNotes.contains(QStringLiteral("en")));
            QList<QUrl> links = package.releaseNotes.values();
            links += package.readme.values();
            for (const QUrl& link : qAsConst(links)) {
                QCOMPARE(server.answer(link.path()).status, 200);
            }
        }
    }
};

QTEST_GUILESS_MAIN(tst_UpdateServer)
#include "tst_UpdateServer.moc"

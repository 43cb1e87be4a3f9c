#include "catalogue/DocumentParser.h"
#include "demo/DemoContent.h"
#include "demo/UpdateServer.h"

#include <QBuffer>
#include <QElapsedTimer>
#include <QNetworkAccessManager>
#include <QNetworkProxy>
#include <QNetworkReply>
#include <QTest>

using demo::UpdateServer;
using ReplyPointer = std::unique_ptr<QNetworkReply>;

class tst_UpdateServer : public QObject
{
    Q_OBJECT

private slots:
    void stopsInAMoment()
    {
        QNetworkAccessManager manager;
        manager.setProxy(QNetworkProxy(QNetworkProxy::NoProxy));
        auto server = std::make_unique<UpdateServer>();
        UpdateServer::Answer slow = UpdateServer::page("a/b", QByteArray(1000, 'x'));
        slow.pieceSize = 1;
        slow.pause = 60000;
        server->setAnswer(QStringLiteral("/slow"), slow);
        server->setAnswer(QStringLiteral("/hanging"), UpdateServer::hanging());
        server->setAnswer(QStringLiteral("/idle"), UpdateServer::page("a/b", "c"));
        std::vector<ReplyPointer> replies;
        for (const char* path : {"/slow", "/hanging", "/idle"}) {
            const QNetworkRequest request(server->url(QLatin1String(path)));
            replies.emplace_back(manager.get(request));
        }
        QTRY_VERIFY(replies[2]->isFinished() && server->requests().size() == 3);
        QVERIFY(!replies[0]->isFinished() && !replies[1]->isFinished());
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
            QCOMPARE(quint32(server.answer(package.url.path()).body.size()), package.fileSize);
            QVERIFY(package.releaseDate.isValid());
            QVERIFY(package.releaseNotes.contains(QStringLiteral("en")));
            const QList<QUrl> links =
                package.releaseNotes.values() + package.readme.values() + QList<QUrl>{package.url};
            for (const QUrl& link : links) {
                QCOMPARE(server.answer(link.path()).status, 200);
            }
        }
    }
};

QTEST_GUILESS_MAIN(tst_UpdateServer)
#include "tst_UpdateServer.moc"

#include "catalogue/DocumentParser.h"
#include "demo/DemoContent.h"
#include "demo/UpdateServer.h"

#include <QBuffer>
#include <QTest>

using demo::UpdateServer;

class tst_UpdateServer : public QObject
{
    Q_OBJECT

private slots:
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
            QList<QUrl> links{package.url};
            links << package.releaseNotes.values() << package.readme.values();
            for (const QUrl& link : qAsConst(links)) {
                QCOMPARE(server.answer(link.path()).status, 200);
            }
        }
    }
};

QTEST_GUILESS_MAIN(tst_UpdateServer)
#include "tst_UpdateServer.moc"

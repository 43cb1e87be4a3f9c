#include "ScriptedServer.h"

#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

using namespace zk;

/** The example as it stands: a process that asks its server. */
class tst_MinimalHost : public QObject
{
    Q_OBJECT

private slots:
    void checksWhenItStarts()
    {
        const QTemporaryDir home;
        test::ScriptedServer server;
        server.answer("/updates.xml", test::http(200, "<softwareList/>"));
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(u"XDG_CONFIG_HOME"_s, home.path());
        environment.insert(u"HOME"_s, home.path());
        QProcess host;
        host.setProcessEnvironment(environment);
        host.start(QStringLiteral(MINIMAL_HOST), {server.url("/updates.xml").toString()});
        QTRY_COMPARE(server.requests().size(), 1);
        QCOMPARE(host.state(), QProcess::Running);
        host.kill();
        QVERIFY(host.waitForFinished());
    }
};

QTEST_GUILESS_MAIN(tst_MinimalHost)
#include "tst_MinimalHost.moc"

#include "DifferentialFixture.h"

#include <QProgressBar>

using namespace zk;
using namespace zk::test;

/** Installations that fetch what changed, from the button to the question for the restart. */
class tst_DifferentialInstalls : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { dropOffscreenSizeHintLine(); }

    void fetchesWhatChanged()
    {
        DifferentialFixture f;
        f.server.forgetRequests();
        f.install();
        QTRY_COMPARE(f.restarts(), 1);
        QCOMPARE(f.asked(), (QStringList{u"/update.zip.manifest"_s,
                                         u"/update.zip.manifest.minisig"_s, u"/update.zip"_s}));
        QVERIFY(f.made("a program") == f.changed);
        QVERIFY(f.made("data") == readFile(f.installed));
        QCOMPARE(f.made(".softwareupdate-manifest"), f.manifest);
        QCOMPARE(f.leftovers(), QStringList());
        QCOMPARE(f.log.lines(Log::eInfo).filter(u"fetching 50000 of "_s).size(), 1);

        // Later the same again, without the package; and what is left of the old version does not
        // matter any more.
        QVERIFY(QFile::remove(f.installed));
        f.archive.asked.clear();
        f.checkFor(packageElement("4.3", "update.zip"));
        f.install();
        QTRY_COMPARE(f.restarts(), 2);
        QCOMPARE(f.archive.asked, QStringList());

        // Somebody tidies up before the hand-over.
        QVERIFY(QFile::remove(f.tree().filePath(u"data"_s)));
        QMetaObject::invokeMethod(f.client, "startZipInstall");
        QCOMPARE(f.robot.seen().filter(u"Installation failed"_s).size(), 1);
    }

    void fetchesTheWholeWithoutManifest()
    {
        DifferentialFixture f;
        f.server.answer("/update.zip.manifest", http(404));
        f.install();
        QTRY_COMPARE(f.restarts(), 1);
        QCOMPARE(f.asked().constLast(), u"/update.zip"_s);
        QCOMPARE(f.archive.asked, QStringList{u"-"_s});
        QCOMPARE(
            f.log.lines(Log::eInfo).filter(u"is fetched: .manifest cannot be fetched"_s).size(), 1);
        QTRY_COMPARE(f.leftovers().size(), 2);
    }

    // The whole package is signed, too.
    void refusesWhatIsNotSigned()
    {
        DifferentialFixture f;
        f.archive.script = QStringList{u"plain"_s};
        f.archive.body[10] = 'x';
        f.install();
        QTRY_COMPARE(f.robot.seen().filter(u"Installation failed"_s).size(), 1);
        QCOMPARE(f.archive.asked.size(), 2);
        QCOMPARE(f.restarts(), 0);
        QCOMPARE(f.leftovers(), QStringList());
    }

    void continuesAfterACancel()
    {
        DifferentialFixture f;
        f.archive.script = QStringList{u"stall"_s, u"ok"_s};
        f.install();
        const auto bar = [&f] {
            const auto* const shown =
                f.progress() ? f.progress()->findChild<QProgressBar*>() : nullptr;
            return shown ? shown->text() : QString();
        };
        QTRY_COMPARE(f.archive.asked.size(), 1);
        QTRY_VERIFY2(bar().endsWith(u"/ 48.8 kB"_s), qPrintable(bar())); // bytes of the update
        QMetaObject::invokeMethod(f.progress(), "canceled");
        QTest::qWait(0);
        QCOMPARE(f.end(), u"window"_s);
        f.install();
        QTRY_COMPARE(f.restarts(), 1);
        QVERIFY(f.made("a program") == f.changed);
        QCOMPARE(f.archive.asked, (QStringList{u"39-50038"_s, u"25039-50038"_s}));
    }
};

QTEST_MAIN(tst_DifferentialInstalls)
#include "tst_DifferentialInstalls.moc"

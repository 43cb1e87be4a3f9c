#include "InstallFixture.h"
#include "RangeOrigin.h"

#include "download/DownloadCache.h"

#include <QProgressBar>

using namespace zk;
using namespace zk::test;

namespace {

/** A client that tries again, with a package on a server that knows ranges. */
struct ResumedFixture : InstallFixture
{
    ScopedVariable cacheVariable{"XDG_CACHE_HOME", temporary.path()};
    QDir cache{DownloadCache(u"Viewer"_s).folder()};
    RangeOrigin origin;

    explicit ResumedFixture(std::chrono::milliseconds pause = std::chrono::milliseconds(1))
    {
        cache.removeRecursively(); // which tests share where no variable moves it
        origin.body = program + QByteArray(200'000, 'x'); // what follows a program does no harm
        origin.serveAt(server, "/setup.exe");
        UpdateOptions options = UpdateOptions::recommended();
        options.download.firstPause = pause;
        options.download.stallTimeout = std::chrono::milliseconds(400);
        client->setOptions(options);
    }
    ~ResumedFixture() { cache.removeRecursively(); }

    QStringList cached() const { return cache.entryList(QDir::Files | QDir::Hidden); }
    QString barText() const
    {
        const auto* const bar = progress() ? progress()->findChild<QProgressBar*>() : nullptr;
        return bar ? bar->text() : QString();
    }
};

} // namespace

/** Installations over a network that breaks off, from the button to the program. */
class tst_ResumedInstalls : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { dropOffscreenSizeHintLine(); }

    void installsAfterCuts()
    {
        ResumedFixture f;
        f.origin.script =
            QStringList{u"cut 50000"_s, u"status 503"_s, u"stall 120000"_s, u"page"_s, u"ok"_s};
        f.install();
        QTRY_COMPARE(f.end(), u"started, setup.exe"_s);
        QCOMPARE(f.origin.asked,
                 (QStringList{u"-"_s, u"50000"_s, u"50000"_s, u"120000"_s, u"120000"_s}));
        QCOMPARE(f.cached(), QStringList());
        QCOMPARE(f.log.lines(Log::eWarning).filter(u"broke off"_s).size(), 4);
        QCOMPARE(f.log.lines(Log::eWarning).filter(u"log-in"_s).size(), 1);
    }

    void cancelsInAPauseAndContinuesLater()
    {
        ResumedFixture f(std::chrono::seconds(9));
        f.origin.script = QStringList{u"cut 50000"_s, u"ok"_s};
        f.install();
        QTRY_VERIFY2(f.barText().contains(u"\u2026 0:"_s), qPrintable(f.barText()));
        QVERIFY2(f.barText().contains(u"kB"_s), qPrintable(f.barText()));
        QMetaObject::invokeMethod(f.progress(), "canceled");
        QTest::qWait(0); // not for the pause, but for the dialog's deletion
        QCOMPARE(f.end(), u"window"_s);
        QCOMPARE(f.cached().size(), 2); // the bytes, and whose they are

        f.client->setOptions(UpdateOptions::recommended());
        f.install();
        QTRY_COMPARE(f.end(), u"started, setup.exe"_s);
        QCOMPARE(f.origin.asked, (QStringList{u"-"_s, u"50000"_s}));
        QCOMPARE(f.cached(), QStringList());
    }
};

QTEST_MAIN(tst_ResumedInstalls)
#include "tst_ResumedInstalls.moc"

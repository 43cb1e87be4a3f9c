#include "InstallFixture.h"
#include "MessageFilter.h"

#include "ui/SoftwareUpdateAvailableDialog.h"

#include <QDesktopServices>
#include <QDir>
#include <QDirIterator>
#include <QProgressDialog>
#include <QPushButton>
#include <QSignalSpy>
#include <QTableWidget>
#include <QTemporaryDir>
#include <QTest>
#include <QTextBrowser>

using namespace zk;
using test::Answer;

class tst_InstallFlow : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { test::dropOffscreenSizeHintLine(); }
    void startsWhatWasDownloaded();
    void leavesNothingOfAFailedDownload_data();
    void leavesNothingOfAFailedDownload();
    void stopsWhenTheUserCancels_data();
    void stopsWhenTheUserCancels();
    void doesNothingWhenRejected();
    void refusesUnknownFileTypes();
    void handsOverByFileType_data();
    void handsOverByFileType();
    void startsOverWhenInstalledAgain();
    void keepsDownloadingWhenAnotherIsRejected();
    void installsWhatWasShown_data();
    void installsWhatWasShown();
    void survivesTheLossOfItsParent_data();
    void survivesTheLossOfItsParent();
    void survivesItsDeletion_data();
    void survivesItsDeletion();
    void goesOnWithoutDialogs();
    void logsFilesThatStay();
    void ignoresRowsThatAreNotThere();
    void followsTheSelection_data();
    void followsTheSelection();
    void opensSafePagesOnly();

public slots:
    void openPage(const QUrl& url) { m_opened << url.toString(); }

private:
    QStringList m_opened;
};

namespace {

constexpr int half = 120;
const auto question = QStringLiteral("ask you to restart");
const auto proceed = QStringLiteral("Proceed");
const auto errorTitle = QStringLiteral("Download Error: ");

using Fixture = test::InstallFixture;

void installsAfterAll(Fixture& f)
{
    f.offer("setup.exe");
    f.install();
    QTRY_VERIFY(f.wasStarted());
    QTRY_VERIFY(!f.available());
    QCOMPARE(f.leftovers(), QStringList{QStringLiteral("setup.exe")});
}

} // namespace

void tst_InstallFlow::startsWhatWasDownloaded()
{
    Fixture f;
    f.server.answer("/setup.exe", test::partial(f.program, half, Answer::eSilence));
    f.install();
    QTRY_VERIFY(f.progress() && f.progress()->value() > 0);
    QCOMPARE(f.progress()->maximum(), f.program.size());
    QCOMPARE(f.progress()->labelText(), QStringLiteral("Download Progress"));
    QVERIFY(f.progress()->isVisible());
    f.server.finish(f.program.mid(half));
    QTRY_VERIFY(f.wasStarted());
    QTRY_VERIFY(!f.available());
    QCOMPARE(f.leftovers(), QStringList{QStringLiteral("setup.exe")});
    QCOMPARE(f.robot.seen(),
             QStringList{QStringLiteral("Install Package: After downloading the package, the "
                                        "installer will ask you to restart the application!")});
    QVERIFY(f.log.lines(Log::eInfo).filter(QStringLiteral("trying to run ")).size() == 1);
    QCOMPARE(f.log.lines(Log::eError), QStringList());
}

void tst_InstallFlow::leavesNothingOfAFailedDownload_data()
{
    QTest::addColumn<Answer>("answer");
    QTest::addColumn<int>("code");
    const QByteArray body(2000, 'x');
    QTest::newRow("not found") << test::http(404, "page") << 203;
    QTest::newRow("server error") << test::http(500, "page") << 401;
    QTest::newRow("cut in the middle") << test::partial(body, 1000, Answer::eClose) << 2;
    QTest::newRow("no content") << test::http(204) << 204;
    QTest::newRow("not modified") << test::http(304) << 304;
    QTest::newRow("redirect without target") << test::http(302, "page") << 302;
    QTest::newRow("redirect to itself") << test::redirect(301, "/setup.exe", "page") << 301;
    QTest::newRow("redirect to nothing") << test::redirect(302, "http://127.0.0.1:1/") << 1;
    QTest::newRow("redirect to another kind of place")
        << test::redirect(302, "gopher://127.0.0.1/a") << 301;
}

void tst_InstallFlow::leavesNothingOfAFailedDownload()
{
    QFETCH(Answer, answer);
    QFETCH(int, code);
    Fixture f;
    f.server.answer("/setup.exe", answer);
    f.install();
    QTRY_VERIFY(!f.errorBoxes().isEmpty());
    QTRY_VERIFY(f.isUndone());
    QCOMPARE(f.errorBoxes(), QStringList{errorTitle + QStringLiteral("Error code %1").arg(code)});
    installsAfterAll(f);
    QCOMPARE(f.errorBoxes().size(), 1);
}

void tst_InstallFlow::stopsWhenTheUserCancels_data()
{
    QTest::addColumn<int>("sent");
    QTest::newRow("before the first byte") << 0;
    QTest::newRow("in the middle") << half;
    QTest::newRow("behind the last byte") << -1;
}

void tst_InstallFlow::stopsWhenTheUserCancels()
{
    QFETCH(int, sent);
    Fixture f;
    if (sent >= 0) {
        f.server.answer("/setup.exe", sent > 0 ? test::partial(f.program, sent, Answer::eSilence)
                                               : Answer{{}, Answer::eSilence});
    }
    const auto cancel = [&f] { f.progress()->findChild<QPushButton*>()->click(); };
    if (sent < 0) {
        // The last moment there is: the file is written, its installer not yet chosen.
        QObject::connect(f.client->findChild<FileDownloader*>(), &FileDownloader::finished,
                         f.client, cancel);
    }
    f.install();
    QTRY_VERIFY(sent != 0 || f.server.requests().size() == 2);
    QTRY_VERIFY(sent <= 0 || f.progress()->value() > 0);
    if (sent >= 0) {
        cancel();
    } else {
        QTRY_COMPARE(f.leftovers(), QStringList());
        QTRY_VERIFY(f.server.requests().size() == 2 && !f.progress());
        QObject::disconnect(f.client->findChild<FileDownloader*>(), &FileDownloader::finished,
                            f.client, nullptr);
    }
    QTRY_VERIFY(f.isUndone());
    QCOMPARE(f.errorBoxes(), QStringList());
    if (sent >= 0) {
        installsAfterAll(f);
    }
}

void tst_InstallFlow::doesNothingWhenRejected()
{
    Fixture f;
    for (const QString& answer : {QStringLiteral("Cancel Install"), QStringLiteral("(closed)")}) {
        f.robot.press(question, answer);
        f.install();
        QVERIFY(
            f.log.has(Log::eInfo, QStringLiteral("installPackage] user rejected installation")));
    }
    QCOMPARE(f.robot.seen().size(), 2);
    QCOMPARE(f.server.requests().size(), 1);
    QVERIFY(f.isUndone());
}

void tst_InstallFlow::refusesUnknownFileTypes()
{
    Fixture f("setup.PKG");
    f.robot.press(QStringLiteral("Unknown package type"), QStringLiteral("OK"));
    f.install();
    QTRY_COMPARE(f.errorBoxes(),
                 QStringList{errorTitle + QStringLiteral("Unknown package type! Installation "
                                                         "cannot proceed!")});
    QTRY_COMPARE(f.leftovers(), QStringList());
    QVERIFY(!f.wasStarted());
}

void tst_InstallFlow::handsOverByFileType_data()
{
    QTest::addColumn<QString>("line");
    QTest::addColumn<bool>("opened");
    const auto run = QStringLiteral("trying to run ");
    QTest::newRow("a.msi") << QStringLiteral("installMSIPackage] ") + run << false;
    QTest::newRow("a.rpk") << QStringLiteral("installRPKPackage] ") + run << false;
    QTest::newRow("a.tar.gz") << QStringLiteral("installTARGZPackage] ") + run << false;
    QTest::newRow("a.deb") << QStringLiteral("installDEBPackage] "
                                             "SoftwareUpdateClient::installDEBPackage() -> ") +
                                  run
                           << false;
    QTest::newRow("a.pkg") << QString() << true;
    QTest::newRow("a.mpkg") << QString() << true;
}

void tst_InstallFlow::handsOverByFileType()
{
    QFETCH(QString, line);
    QFETCH(bool, opened);
    const QString name = QString::fromLatin1(QTest::currentDataTag());
    Fixture f(name.toLatin1());
    m_opened.clear();
    QDesktopServices::setUrlHandler(QStringLiteral("file"), this, "openPage");
    f.install();
    QTRY_VERIFY(!f.available());
    QDesktopServices::unsetUrlHandler(QStringLiteral("file"));
    QCOMPARE(f.leftovers(), QStringList{name});
    QCOMPARE(m_opened.size(), opened ? 1 : 0);
    QVERIFY(m_opened.isEmpty() || m_opened.first().endsWith(QLatin1Char('/') + name));
    QVERIFY(line.isEmpty() || f.log.lines(Log::eInfo).filter(line).size() == 1);
    QVERIFY(!f.wasStarted());
}

void tst_InstallFlow::startsOverWhenInstalledAgain()
{
    Fixture f;
    f.server.answer("/setup.exe", {test::partial(QByteArray(2000, 'x'), half, Answer::eSilence),
                                   test::http(200, f.program)});
    f.install();
    QTRY_VERIFY(f.progress() && f.progress()->value() > 0);
    f.install();
    QTRY_VERIFY(f.wasStarted());
    QCOMPARE(f.errorBoxes(), QStringList());
    QTRY_COMPARE(f.leftovers(), QStringList{QStringLiteral("setup.exe")});
}

void tst_InstallFlow::keepsDownloadingWhenAnotherIsRejected()
{
    Fixture f;
    f.server.answer("/setup.exe", test::partial(f.program, half, Answer::eSilence));
    f.install();
    QTRY_VERIFY(f.progress() && f.progress()->value() > 0);
    f.robot.press(question, QStringLiteral("Cancel Install"));
    f.install();
    QVERIFY(f.progress());
    f.server.finish(f.program.mid(half));
    QTRY_VERIFY(f.wasStarted());
}

void tst_InstallFlow::installsWhatWasShown_data()
{
    QTest::addColumn<bool>("duringQuestion");
    QTest::addColumn<QByteArray>("newDocument");
    QTest::addColumn<bool>("started");
    const QByteArray another =
        test::document(test::packageElement("5.0", "http://127.0.0.1:1/other.msi"));
    const QByteArray older = test::document(test::packageElement("1.0", "old.exe"));
    QTest::newRow("another package during the question") << true << another << true;
    // The question goes with the list it was asked about.
    QTest::newRow("nothing newer during the question") << true << older << false;
    QTest::newRow("no packages during the question") << true << QByteArray() << false;
    QTest::newRow("another package during the download") << false << another << true;
    QTest::newRow("nothing newer during the download") << false << older << true;
    QTest::newRow("no packages during the download") << false << QByteArray() << true;
}

void tst_InstallFlow::installsWhatWasShown()
{
    QFETCH(bool, duringQuestion);
    QFETCH(QByteArray, newDocument);
    QFETCH(bool, started);
    Fixture f;
    f.server.answer("/doc.xml", test::http(200, newDocument));
    const auto backgroundCheck = [&f] {
        f.check();
        QTRY_VERIFY(!f.isChecking());
    };
    if (duringQuestion) {
        f.robot.act(question, backgroundCheck, proceed);
        f.install();
    } else {
        f.server.answer("/setup.exe", {test::redirect(302, "/soon"), test::http(404)});
        f.server.answer("/soon", Answer{{}, Answer::eSilence});
        f.install();
        QTRY_COMPARE(f.server.requests().last().path, QByteArray("/soon"));
        backgroundCheck();
        QVERIFY(f.progress() && f.progress()->isVisible());
        f.server.finishTo("/soon", test::http(200, f.program));
    }
    QTRY_COMPARE(f.wasStarted(), started);
    QCOMPARE(f.leftovers().size(), started ? 1 : 0);
    QCOMPARE(f.robot.seen().size(), 1);
}

void tst_InstallFlow::survivesTheLossOfItsParent_data()
{
    QTest::addColumn<bool>("isWhole");
    QTest::newRow("then all is there") << true;
    QTest::newRow("then the connection breaks") << false;
}

void tst_InstallFlow::survivesTheLossOfItsParent()
{
    QFETCH(bool, isWhole);
    Fixture f;
    f.server.answer("/setup.exe", test::partial(f.program, half, Answer::eSilence));
    f.install();
    QTRY_VERIFY(f.progress() && f.progress()->value() > 0);
    QSignalSpy finished(f.client->findChild<FileDownloader*>(), &FileDownloader::finished);
    f.parent.reset();
    f.server.finish(isWhole ? f.program.mid(half) : QByteArray(),
                    isWhole ? Answer::eClose : Answer::eReset);
    QTRY_COMPARE(finished.size(), 1);
    QTRY_COMPARE(f.leftovers().size(), isWhole ? 1 : 0);
    QVERIFY(!f.wasStarted());
    QCOMPARE(f.errorBoxes(), QStringList());
}

void tst_InstallFlow::survivesItsDeletion_data()
{
    QTest::addColumn<QString>("box");
    QTest::addColumn<Answer>("answer");
    QTest::newRow("during the question") << question << test::http(200);
    QTest::newRow("during the box after an error page")
        << QStringLiteral("Error code") << test::http(404, "page");
    QTest::newRow("during the box after a cut")
        << QStringLiteral("Error code")
        << test::partial(QByteArray(2000, 'x'), 1000, Answer::eClose);
    QTest::newRow("during the box after no content")
        << QStringLiteral("Error code") << test::http(204);
}

void tst_InstallFlow::survivesItsDeletion()
{
    QFETCH(QString, box);
    QFETCH(Answer, answer);
    Fixture f;
    f.server.answer("/setup.exe", answer);
    f.robot.act(
        box, [] { SoftwareUpdateClient::deleteInstance(); },
        box == question ? proceed : QStringLiteral("OK"));
    f.install();
    QTRY_VERIFY(!SoftwareUpdateClient::instance());
    QCoreApplication::processEvents();
    QVERIFY(!f.wasStarted());
    QCOMPARE(f.leftovers(), QStringList());
}

void tst_InstallFlow::goesOnWithoutDialogs()
{
    Fixture f;
    f.server.answer("/setup.exe", test::partial(f.program, half, Answer::eSilence));
    f.install();
    QTRY_VERIFY(f.progress() && f.progress()->value() > 0);
    f.client->abortUpdate();
    QTRY_VERIFY(!f.available());
    f.server.finish(f.program.mid(half));
    QTRY_VERIFY(f.wasStarted());
}

void tst_InstallFlow::logsFilesThatStay()
{
    Fixture f("status");
    f.server.answer("/status", test::partial(f.program, half, Answer::eSilence));
    f.install();
    QTRY_VERIFY(f.progress() && f.progress()->value() > 0);
    const QDir folder(f.temporary.filePath(QStringLiteral("tmp")));
    const QString target =
        folder.filePath(folder.entryList(QDir::Dirs | QDir::NoDotAndDotDot).constFirst());
#ifdef Q_OS_WIN
    // Nobody removes what somebody has open.
    QFile kept(target + QStringLiteral("/status"));
    QVERIFY(kept.open(QIODevice::WriteOnly));
#else
    // Not even root removes what is in here.
    QVERIFY(QDir().rmdir(target) && QFile::link(QStringLiteral("/proc/self"), target));
#endif
    f.progress()->findChild<QPushButton*>()->click();
    QCOMPARE(
        f.log.lines(Log::eError).filter(QStringLiteral("abortDownload")),
        QStringList{QStringLiteral("[zk::SoftwareUpdateClient::abortDownload] could not remove "
                                   "downloaded files: ") +
                    target + QStringLiteral("/status")});
}

void tst_InstallFlow::ignoresRowsThatAreNotThere()
{
    Fixture f;
    for (const int row : {-1, 1, 1000}) {
        f.install(row);
    }
    m_opened.clear();
    QDesktopServices::setUrlHandler(QStringLiteral("http"), this, "openPage");
    QMetaObject::invokeMethod(f.client, "downloadUrls",
                              Q_ARG(SoftwareUpdate::SoftUpIndexList, (QList<int>{-1, 1})));
    QMetaObject::invokeMethod(f.client, "downloadReleaseNotes",
                              Q_ARG(SoftwareUpdate::SoftUpIndexList, QList<int>()));
    QMetaObject::invokeMethod(f.client, "downloadReleaseNotes",
                              Q_ARG(SoftwareUpdate::SoftUpIndexList, QList<int>{7}));
    QDesktopServices::unsetUrlHandler(QStringLiteral("http"));
    QCOMPARE(m_opened, QStringList());
    QCOMPARE(f.robot.seen(), QStringList());
    QCOMPARE(f.server.requests().size(), 1);
}

void tst_InstallFlow::followsTheSelection_data()
{
    QTest::addColumn<QList<int>>("rows");
    QTest::addColumn<QString>("buttons");
    QTest::addColumn<QString>("comment");
    QTest::newRow("nothing") << QList<int>() << QString() << QString();
    QTest::newRow("a program with notes")
        << QList<int>{0} << QStringLiteral("download install notes")
        << QStringLiteral("Viewer 4.3");
    QTest::newRow("an archive, no notes")
        << QList<int>{1} << QStringLiteral("download") << QStringLiteral("Viewer 4.3");
    QTest::newRow("both") << QList<int>{0, 1} << QStringLiteral("download") << QString();
    QTest::newRow("a row that is not there")
        << QList<int>{9} << QStringLiteral("download") << QStringLiteral(", ");
}

void tst_InstallFlow::followsTheSelection()
{
    QFETCH(QList<int>, rows);
    QFETCH(QString, buttons);
    QFETCH(QString, comment);
    Fixture f;
    f.server.answer(
        "/doc.xml",
        test::http(200, test::document("<package release=\"4.3\"><file url=\"http://h/a.exe\"/>"
                                       "<release-notes url=\"http://h/n\"/>"
                                       "</package>" +
                                       test::packageElement("4.3", "http://h/b.zip"))));
    f.showOffer();
    QCOMPARE(f.available()->findChild<QTableWidget*>()->rowCount(), 2);
    QMetaObject::invokeMethod(f.client, "manageUpdateAvailableDialog",
                              Q_ARG(SoftwareUpdate::SoftUpIndexList, rows));
    QStringList enabled;
    for (const char* name : {"download", "install", "releaseNotes"}) {
        const QString button = QString::fromLatin1(name);
        if (f.available()
                ->findChild<QPushButton*>(button + QStringLiteral("PushButton"))
                ->isEnabled()) {
            enabled << (button == QLatin1String("releaseNotes") ? QStringLiteral("notes") : button);
        }
    }
    QCOMPARE(enabled.join(QLatin1Char(' ')), buttons);
    const QString shown = f.available()->findChild<QTextBrowser*>()->toPlainText();
    QVERIFY2(comment.isEmpty() ? shown.isEmpty() : shown.startsWith(comment), qPrintable(shown));
}

void tst_InstallFlow::opensSafePagesOnly()
{
    Fixture f;
    f.server.answer(
        "/doc.xml",
        test::http(200,
                   test::document("<package release=\"4.3\"><file url=\"http://h/a.exe\"/>"
                                  "<release-notes url=\"notes.html\"/>"
                                  "<release-notes language=\"de\" url=\"http://h/de\"/></package>"
                                  "<package release=\"4.3\"><file url=\"javascript:b.exe\"/>"
                                  "<release-notes url=\"file://host/share\"/>"
                                  "</package>")));
    f.showOffer();
    m_opened.clear();
    const QStringList schemes{QStringLiteral("http"), QStringLiteral("javascript"),
                              QStringLiteral("file")};
    for (const QString& scheme : schemes) {
        QDesktopServices::setUrlHandler(scheme, this, "openPage");
    }
    QMetaObject::invokeMethod(f.client, "downloadUrls",
                              Q_ARG(SoftwareUpdate::SoftUpIndexList, (QList<int>{1, 0})));
    for (const int row : {1, 0}) {
        QMetaObject::invokeMethod(f.client, "downloadReleaseNotes",
                                  Q_ARG(SoftwareUpdate::SoftUpIndexList, QList<int>{row}));
    }
    emit f.available()->linkActivated(QUrl(QStringLiteral("javascript:c")));
    for (const QString& scheme : schemes) {
        QDesktopServices::unsetUrlHandler(scheme);
    }
    QCOMPARE(m_opened, (QStringList{QStringLiteral("http://h/a.exe"),
                                    f.server.url("/notes.html").toString()}));
    QCOMPARE(f.log.lines(Log::eError).filter(QStringLiteral("link is not opened")).size(), 3);
    QCOMPARE(f.server.requests().size(), 2);
}

QTEST_MAIN(tst_InstallFlow)
#include "tst_InstallFlow.moc"

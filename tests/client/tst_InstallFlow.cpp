#include "InstallFixture.h"
#include "MessageFilter.h"
#include "Rows.h"

#include "install/FileDownloader.h"

#include <QDesktopServices>
#include <QPushButton>
#include <QSignalSpy>
#include <QTableWidget>
#include <QTextBrowser>

using namespace zk;
using test::Answer;
using Fixture = test::InstallFixture;
using Act = void (*)(Fixture&);

Q_DECLARE_METATYPE(Act)

namespace {

constexpr int half = 120;
const auto question = QStringLiteral("ask you to restart");

void awaitHalf(Fixture& f)
{
    QTRY_VERIFY(f.progress() && f.progress()->value() > 0);
    QCOMPARE(f.progress()->maximum(), f.program.size());
    QVERIFY(f.progress()->isVisible());
}

void finish(Fixture& f)
{
    f.server.finishTo("/setup.exe", {f.program.mid(half), Answer::eClose});
}

void cancel(Fixture& f)
{
    f.progress()->findChild<QPushButton*>()->click();
}

void cancelBehindTheLastByte(Fixture& f)
{
    // The last moment there is: the file is written, its installer not yet chosen.
    auto* const once = new QObject(f.client);
    QObject::connect(f.client->findChild<FileDownloader*>(), &FileDownloader::finished, once,
                     [&f, once] {
                         once->deleteLater();
                         cancel(f);
                     });
}

void checkAgain(Fixture& f, const QByteArray& packages)
{
    f.server.answer("/doc.xml", test::http(200, test::document(packages)));
    f.check();
    QTRY_VERIFY(!f.isChecking());
}

void findAnother(Fixture& f)
{
    checkAgain(f, test::packageElement("5.0", "http://127.0.0.1:1/other.msi"));
}

void findNothing(Fixture& f)
{
    checkAgain(f, {});
}

void deleteClient(Fixture& /*f*/)
{
    SoftwareUpdateClient::deleteInstance();
}

} // namespace

class tst_InstallFlow : public QObject
{
    Q_OBJECT

public slots:
    void openPage(const QUrl& url) { m_opened << url.toString(); }

private:
    QStringList m_opened;

    void catchPages(const QStringList& schemes)
    {
        m_opened.clear();
        for (const QString& scheme : schemes) {
            QDesktopServices::setUrlHandler(scheme, this, "openPage");
        }
    }

private slots:
    void initTestCase() { test::dropOffscreenSizeHintLine(); }

    void downloads_data()
    {
        test::columns<Answer, Act, QString>("answer", "act", "end");
        const auto fails = [](const char* name, const Answer& answer, int code) {
            const auto end = QStringLiteral("window, Download Error: Error code %1");
            test::row(name, answer, Act(nullptr), end.arg(code));
        };
        const QByteArray body(2000, 'x');
        fails("not found", test::http(404, "page"), 203);
        fails("server error", test::http(500, "page"), 401);
        fails("cut in the middle", test::partial(body, 1000, Answer::eClose), 2);
        fails("no content", test::http(204), 204);
        fails("not modified", test::http(304), 304);
        fails("redirect without target", test::http(302, "page"), 302);
        fails("redirect to itself", test::redirect(301, "/setup.exe", "page"), 301);
        fails("redirect to nothing", test::redirect(302, "http://127.0.0.1:1/"), 1);
        fails("redirect to another kind of place", test::redirect(302, "gopher://127.0.0.1/"), 301);

        const auto goesOn = [](const char* name, Act act, const char* end) {
            test::row(name, test::partial(test::StandIn::bytes(), half, Answer::eSilence), act,
                      end);
        };
        const char* const started = "started, setup.exe";
        goesOn("nothing happens", finish, started);
        goesOn("cancelled half-way", cancel, "window");
        goesOn(
            "installed again", [](Fixture& f) { f.install(); }, started);
        const auto reject = [](Fixture& f) {
            f.robot.press(question, QStringLiteral("Cancel Install"));
            f.install();
            finish(f);
        };
        goesOn("rejected the second time", reject, started);
        const auto find = [](Fixture& f) {
            findAnother(f);
            finish(f);
        };
        goesOn("another package is found", find, started);
        const auto findNone = [](Fixture& f) {
            findNothing(f);
            finish(f);
        };
        goesOn("no package is found", findNone,
               "started, setup.exe, "
               "[zk::SoftwareUpdateClient::parseServerResponse] no update available");
        const auto abort = [](Fixture& f) {
            f.client->abortUpdate();
            QTRY_VERIFY(!f.available());
            finish(f);
        };
        goesOn("dialogs aborted", abort, started);
        const auto close = [](Fixture& f) {
            f.parent.reset();
            finish(f);
        };
        goesOn("parent gone", close, "setup.exe");
        const auto lose = [](Fixture& f) {
            f.parent.reset();
            f.server.finish({}, Answer::eReset);
        };
        goesOn("parent gone, then the connection", lose, "");
        test::row("cancelled before the first byte", Answer{{}, Answer::eSilence}, Act(cancel),
                  "window");
        test::row("cancelled behind the last byte", test::http(200, test::StandIn::bytes()),
                  Act(cancelBehindTheLastByte), "window");
    }
    void downloads()
    {
        QFETCH(Answer, answer);
        QFETCH(Act, act);
        QFETCH(QString, end);
        Fixture f;
        f.server.answer("/setup.exe", {answer, test::http(200, f.program)});
        if (end.endsWith(QLatin1String(" 301"))) {
            f.server.answer("/setup.exe", answer);
        }
        QSignalSpy finished(f.client->findChild<FileDownloader*>(), &FileDownloader::finished);
        f.install();
        if (answer.end == Answer::eSilence) {
            QTRY_COMPARE(f.server.requests().size(), 2);
            QTRY_VERIFY(answer.bytes.isEmpty() || f.progress()->value() > 0);
        }
        if (act) {
            act(f);
        }
        QTRY_VERIFY(!finished.isEmpty() || !f.errorBoxes().isEmpty());
        QTRY_COMPARE(f.end(), end);
        if (end.startsWith(QLatin1String("window"))) {
            f.offer("setup.exe");
            f.install();
            QTRY_COMPARE(f.end(),
                         end.replace(QLatin1String("window"), QLatin1String("started, setup.exe")));
        }
    }

    void asks_data()
    {
        test::columns<QString, Act, QString, Answer, QString>("box", "act", "button", "answer",
                                                              "end");
        const auto proceed = QStringLiteral("Proceed");
        const Act nothing = [](Fixture&) {};
        const Answer program = test::http(200, test::StandIn::bytes());
        test::row("cancelled", question, nothing, "Cancel Install", program, "window");
        test::row("closed", question, nothing, "(closed)", program, "window");
        test::row("another package is found", question, Act(findAnother), proceed, program,
                  "started, setup.exe");
        // The question goes with the list it was asked about.
        test::row("no package is found", question, Act(findNothing), proceed, program,
                  "[zk::SoftwareUpdateClient::parseServerResponse] no update available");
        test::row("client deleted", question, Act(deleteClient), proceed, program, "window");
        test::row("client deleted after an error page", "Error code", Act(deleteClient), "OK",
                  test::http(404, "page"), "progress, window, Download Error: Error code 203");
    }
    void asks()
    {
        QFETCH(QString, box);
        QFETCH(Act, act);
        QFETCH(QString, button);
        QFETCH(Answer, answer);
        Fixture f;
        f.server.answer("/setup.exe", answer);
        bool isAnswered = false;
        const auto meanwhile = [&] {
            act(f);
            isAnswered = true;
        };
        f.robot.act(box, meanwhile, button);
        f.install();
        QTRY_VERIFY(isAnswered);
        QCoreApplication::processEvents();
        QTRY_VERIFY(!f.progress() || !SoftwareUpdateClient::instance());
        QTEST(f.end(), "end");
        QCOMPARE(f.robot.seen().constFirst(),
                 QStringLiteral("Install Package: After downloading the package, the installer "
                                "will ask you to restart the application!"));
    }

    void handsOverByFileType_data()
    {
        test::columns<QString, int, QString>("line", "pages", "end");
        test::row("a.msi", "installMSIPackage] trying to run ", 0, "a.msi");
        test::row("a.rpk", "installRPKPackage] trying to run ", 0, "a.rpk");
        test::row("a.tar.gz", "installTARGZPackage] trying to run ", 0, "a.tar.gz");
        test::row("a.deb",
                  "installDEBPackage] SoftwareUpdateClient::installDEBPackage() -> trying to run ",
                  0, "a.deb");
        test::row("a.pkg", "", 1, "a.pkg");
        test::row("a.mpkg", "", 1, "a.mpkg");
        test::row("a.PKG", "", 0,
                  "Download Error: Unknown package type! Installation cannot proceed!");
    }
    void handsOverByFileType()
    {
        QFETCH(QString, line);
        QFETCH(int, pages);
        QFETCH(QString, end);
        Fixture f(QTest::currentDataTag());
        f.robot.press(QStringLiteral("Unknown package type"), QStringLiteral("OK"));
        catchPages({QStringLiteral("file")});
        f.install();
        QTRY_COMPARE(f.end(), end);
        QDesktopServices::unsetUrlHandler(QStringLiteral("file"));
        QCOMPARE(m_opened.size(), pages);
        QVERIFY(!f.log.lines(Log::eInfo).filter(line).isEmpty());
    }

    void logsFilesThatStay()
    {
        Fixture f("status");
        f.server.answer("/status", test::partial(f.program, half, Answer::eSilence));
        f.install();
        awaitHalf(f);
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
        cancel(f);
        QCOMPARE(f.log.lines(Log::eError).filter(QStringLiteral("abortDownload")),
                 QStringList{QStringLiteral("[zk::SoftwareUpdateClient::abortDownload] could not "
                                            "remove downloaded files: ") +
                             target + QStringLiteral("/status")});
    }

    void followsTheSelection_data()
    {
        test::columns<QList<int>, QString, QString>("rows", "buttons", "comment");
        test::row("nothing", QList<int>(), "", "");
        test::row("a program with notes", QList<int>{0},
                  "downloadPushButton installPushButton releaseNotesPushButton", "Viewer 4.3");
        test::row("an archive, no notes", QList<int>{1}, "downloadPushButton", "Viewer 4.3");
        test::row("both", QList<int>{0, 1}, "downloadPushButton", "");
        test::row("a row that is not there", QList<int>{9}, "downloadPushButton", ", ");
    }
    void followsTheSelection()
    {
        QFETCH(QList<int>, rows);
        QFETCH(QString, comment);
        Fixture f;
        checkAgain(f, "<package release=\"4.3\"><file url=\"http://h/a.exe\"/>"
                      "<release-notes url=\"http://h/n\"/></package>" +
                          test::packageElement("4.3", "http://h/b.zip"));
        QCOMPARE(f.available()->findChild<QTableWidget*>()->rowCount(), 2);
        QMetaObject::invokeMethod(f.client, "manageUpdateAvailableDialog",
                                  Q_ARG(SoftwareUpdate::SoftUpIndexList, rows));
        QStringList enabled;
        for (const char* name :
             {"downloadPushButton", "installPushButton", "releaseNotesPushButton"}) {
            const QString button = QLatin1String(name);
            if (f.available()->findChild<QPushButton*>(button)->isEnabled()) {
                enabled << button;
            }
        }
        QTEST(enabled.join(QLatin1Char(' ')), "buttons");
        const QString shown = f.available()->findChild<QTextBrowser*>()->toPlainText();
        QCOMPARE(shown.left(qMax(1, comment.size())), comment);
    }

    void opensSafePagesOnly()
    {
        Fixture f;
        checkAgain(f, "<package release=\"4.3\"><file url=\"http://h/a.exe\"/>"
                      "<release-notes url=\"notes.html\"/>"
                      "<release-notes language=\"de\" url=\"http://h/de\"/></package>"
                      "<package release=\"4.3\"><file url=\"javascript:b.exe\"/>"
                      "<release-notes url=\"file://host/share\"/></package>");
        const QStringList schemes{QStringLiteral("http"), QStringLiteral("javascript"),
                                  QStringLiteral("file")};
        catchPages(schemes);
        // Rows that are not there, too.
        for (const int row : {-1, 2, 1, 0}) {
            for (const char* slot : {"downloadUrls", "downloadReleaseNotes"}) {
                QMetaObject::invokeMethod(f.client, slot,
                                          Q_ARG(SoftwareUpdate::SoftUpIndexList, QList<int>{row}));
            }
        }
        for (const int row : {-1, 2, 1000}) {
            f.install(row);
        }
        emit f.available()->linkActivated(QUrl(QStringLiteral("javascript:c")));
        for (const QString& scheme : schemes) {
            QDesktopServices::unsetUrlHandler(scheme);
        }
        QCOMPARE(m_opened, (QStringList{QStringLiteral("http://h/a.exe"),
                                        f.server.url("/notes.html").toString()}));
        QCOMPARE(f.log.lines(Log::eError).filter(QStringLiteral("link is not opened")).size(), 3);
        QCOMPARE(f.robot.seen(), QStringList());
        QCOMPARE(f.server.requests().size(), 2);
    }
};

QTEST_MAIN(tst_InstallFlow)
#include "tst_InstallFlow.moc"

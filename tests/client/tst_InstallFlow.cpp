#include "InstallFixture.h"
#include "Rows.h"

#include "install/FileDownloader.h"

#include <QDesktopServices>
#include <QProgressBar>
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
const char* const nothingFound =
    "[zk::SoftwareUpdateClient::parseServerResponse] no update available";
const auto question = u"ask you to restart"_s;

constexpr Act keepStill = [](Fixture& /*f*/) {};
constexpr Act cancel = [](Fixture& f) { f.progress()->findChild<QPushButton*>()->click(); };
constexpr Act cancelBehindTheLastByte = [](Fixture& f) {
    // The last moment there is: the file is written, its installer not yet chosen.
    auto* const once = new QObject(f.client);
    QObject::connect(f.client->findChild<FileDownloader*>(), &FileDownloader::finished, once,
                     [&f, once] {
                         once->deleteLater();
                         cancel(f);
                     });
};
constexpr Act findAnother = [](Fixture& f) {
    f.checkFor(test::packageElement("5.0", "http://127.0.0.1:1/other.msi"));
};
constexpr Act findNothing = [](Fixture& f) { f.checkFor({}); };
constexpr Act deleteClient = [](Fixture& /*f*/) { SoftwareUpdateClient::deleteInstance(); };

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
        const QByteArray program = test::StandIn::bytes();
        const auto fails = [](const char* name, const Answer& answer, int code) {
            const auto end = u"window, Download Error: Error code %1"_s;
            test::row(name, answer, keepStill, end.arg(code));
        };
        const QByteArray body(2000, 'x');
        fails("part of a file", test::http(206, "part"), 299);
        fails("use proxy is no redirect", test::http(305, "p", "Location: /file\r\n"), 299);
        fails("nothing in it", test::http(200), 299);
        fails("not found", test::http(404, "page"), 203);
        fails("cut in the middle", test::partial(body, 1000, Answer::eClose), 2);
        fails("no content", test::http(204), 299);
        fails("redirect without target", test::http(302, "page"), 299);
        fails("redirect to another kind of place", test::redirect(302, "gopher://127.0.0.1/"), 301);
        fails("redirect loop", test::redirect(302, "/loop"), 10);
        fails("redirect to TLS where there is none", test::redirect(302, "https://127.0.0.1:1"), 1);
        fails("authentication wanted by no proxy", test::http(407), 105);
        fails("redirect to a file", test::redirect(302, "file:///etc/hostname"), 301);
        fails("redirect to a share", test::redirect(302, "file://127.0.0.1/share/a.exe"), 301);

        const auto goesOn = [&program](const char* name, Act act, const char* end) {
            test::row(name, test::partial(program, half, Answer::eSilence), act, end);
        };
        const char* const started = "started, setup.exe";
        for (const int status : {301, 302, 303, 307, 308}) {
            const QByteArray name = "redirect " + QByteArray::number(status);
            test::row(name.constData(), test::redirect(status, "/moved"), keepStill, started);
        }
        Answer drip = test::http(200, program);
        drip.dripMs = 1;
        drip.dropSize = drip.bytes.size() / 50;
        test::row("slow drip", drip, keepStill, started);
        const QByteArray packed = qCompress(program).mid(4);
        const char* const isPacked = "Content-Encoding: deflate\r\n";
        test::row("compressed", test::http(200, packed, isPacked), keepStill, started);
        fails("compressed and cut", test::http(200, packed.chopped(9), isPacked), 399);
        test::row("no length", Answer{"HTTP/1.1 200 OK\r\n\r\n" + program, Answer::eClose},
                  keepStill, started);
        const Act installAgain = [](Fixture& f) {
            f.server.answer("/setup.exe", test::http(200, f.program));
            f.install();
        };
        const Act reject = [](Fixture& f) {
            f.robot.press(question, u"Cancel Install"_s);
            f.install();
        };
        const Act find = [](Fixture& f) {
            findNothing(f);
            QVERIFY(f.progress() && f.progress()->isVisible());
        };
        const Act lose = [](Fixture& f) {
            f.parent.reset();
            f.program.clear(); // nothing more is sent
        };
        goesOn("cancelled half-way", cancel, "window");
        const Act closeList = [](Fixture& f) { f.available()->close(); };
        const Act findNothingAndCancel = [](Fixture& f) {
            findNothing(f);
            // Its rows are no packages any more.
            f.available()->findChild<QTableWidget*>()->selectAll();
            for (const char* name : {"download", "install", "releaseNotes"}) {
                const QString button = QLatin1String(name) + u"PushButton"_s;
                QVERIFY2(!f.available()->findChild<QPushButton*>(button)->isEnabled(), name);
            }
            cancel(f);
        };
        goesOn("list closed", closeList, "");
        goesOn("no package is found, then cancelled", findNothingAndCancel, nothingFound);
        goesOn("installed again", installAgain, started);
        goesOn("rejected the second time", reject, started);
        goesOn("another package is found", findAnother, started);
        goesOn("no package is found", find,
               QByteArray(started + QByteArray(", ") + nothingFound).constData());
        const Act abort = [](Fixture& f) { f.client->abortUpdate(); };
        goesOn("dialogs aborted", abort, started);
        const Act close = [](Fixture& f) { f.parent.reset(); };
        goesOn("parent gone", close, "setup.exe");
        goesOn("parent gone, then the connection", lose, "");
        test::row("cancelled before the first byte", Answer{{}, Answer::eSilence}, cancel,
                  "window");
        test::row("cancelled behind the last byte", test::http(200, program),
                  cancelBehindTheLastByte, "window");
    }
    void downloads()
    {
        QFETCH(Answer, answer);
        QFETCH(Act, act);
        QFETCH(QString, end);
        Fixture f;
        f.server.answer("/setup.exe", answer);
        f.server.answer("/moved", test::http(200, f.program));
        f.server.answer("/loop", test::redirect(302, "/setup.exe"));
        QSignalSpy finished(f.client->findChild<FileDownloader*>(), &FileDownloader::finished);
        f.install();
        if (answer.end == Answer::eSilence) {
            QTRY_COMPARE(f.server.requests().size(), 2);
            QTRY_VERIFY(answer.bytes.isEmpty() || f.progress()->value() > 0);
        }
        act(f);
        if (answer.end == Answer::eSilence) {
            f.server.finish("/setup.exe", {f.program.mid(half), Answer::eClose});
        }
        QTRY_VERIFY(!finished.isEmpty() || !f.errorBoxes().isEmpty());
        QTRY_COMPARE(f.end(), end);
        if (end.startsWith(u"window"_s)) {
            f.server.answer("/setup.exe", test::http(200, test::StandIn::bytes()));
            f.install();
            QTRY_COMPARE(f.end(), end.replace(u"window"_s, u"started, setup.exe"_s));
        }
    }

    void asks_data()
    {
        test::columns<QString, Act, QString, QString>("box", "act", "button", "end");
        const auto proceed = u"Proceed"_s;
        test::row("cancelled", question, keepStill, "Cancel Install", "window");
        test::row("closed", question, keepStill, "(closed)", "window");
        test::row("another package is found", question, findAnother, proceed,
                  "window, Download Error: Error code 203");
        // The question goes with the list it was asked about.
        test::row("no package is found", question, findNothing, proceed, nothingFound);
        test::row("client deleted", question, deleteClient, proceed, "window");
        test::row("client deleted when it fails", "Error code", deleteClient, "OK",
                  "progress, window, Download Error: Error code 203");
    }
    void asks()
    {
        QFETCH(QString, box);
        QFETCH(Act, act);
        QFETCH(QString, button);
        Fixture f;
        f.server.answer("/setup.exe", test::http(404, "page"));
        f.robot.act(
            box, [&] { act(f); }, button);
        f.install();
        QTRY_VERIFY(!f.robot.seen().filter(box).isEmpty());
        QCoreApplication::processEvents();
        QTRY_VERIFY(!f.progress() || !SoftwareUpdateClient::instance());
        QTEST(f.end(), "end");
        QCOMPARE(f.robot.seen().constFirst(),
                 u"Install Package: After downloading the package, the installer "
                 "will ask you to restart the application!"_s);
    }

    void showsItsProgress()
    {
        Fixture f;
        f.server.answer("/setup.exe",
                        test::partial(QByteArray(3'000'000, 'x'), 900, Answer::eSilence));
        f.install();
        QTRY_VERIFY(f.progress()->value() > 0);
        QCOMPARE(f.progress()->windowTitle(), u"setup.exe"_s);
        QCOMPARE(f.progress()->labelText(), u"Download Progress"_s);
        const auto* bar = f.progress()->findChild<QProgressBar*>();
        QTRY_VERIFY2(bar->text().endsWith(u" / 2.9 MB"_s), qPrintable(bar->text()));
        QVERIFY(bar->width() > 2 * bar->fontMetrics().horizontalAdvance(bar->text()));
        bool isInTheWay = true;
        f.robot.act(
            u"Error code"_s, [&] { isInTheWay = f.progress()->isVisible(); }, u"OK"_s);
        f.server.finish("/setup.exe", {});
        QTRY_COMPARE(f.end(), u"window, Download Error: Error code 2"_s);
        QVERIFY(!isInTheWay);
    }

    void findsRelativePackages()
    {
        Fixture f;
        f.checkFor(test::packageElement("4.3", "setup.exe"));
        f.install();
        QTRY_COMPARE(f.end(), u"started, setup.exe"_s);
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
        test::row("a%2F..%5Cb.pkg", "", 1, "a%2F..%5Cb.pkg");
        test::row("a.pkg/", "", 0,
                  "Download Error: Unknown package type! Installation cannot proceed!");
        test::row("a.PKG", "", 0,
                  "Download Error: Unknown package type! Installation cannot proceed!");
    }
    void handsOverByFileType()
    {
        QFETCH(QString, line);
        QFETCH(int, pages);
        QFETCH(QString, end);
        Fixture f(QTest::currentDataTag());
        f.robot.press(u"Unknown package type"_s, u"OK"_s);
        catchPages({u"file"_s});
        f.install();
        QTRY_COMPARE(f.end(), end);
        QDesktopServices::unsetUrlHandler(u"file"_s);
        QCOMPARE(m_opened.size(), pages);
        QVERIFY(!f.log.lines(Log::eInfo).filter(line).isEmpty());
    }

    void followsTheSelection()
    {
        Fixture f;
        f.checkFor("<package release=\"4.3\"><file url=\"http://h/a.exe\"/>"
                   "<release-notes url=\"http://h/n\"/></package>" +
                   test::packageElement("4.3", "http://h/b.zip"));
        const auto shown = [&f](const QList<int>& rows) {
            QMetaObject::invokeMethod(f.client, "manageUpdateAvailableDialog",
                                      Q_ARG(SoftwareUpdate::SoftUpIndexList, rows));
            QString text;
            for (const char* name : {"download", "install", "releaseNotes"}) {
                const QString button = QLatin1String(name) + u"PushButton"_s;
                if (f.available()->findChild<QPushButton*>(button)->isEnabled()) {
                    text += QLatin1String(name) + u' ';
                }
            }
            return text + f.available()->findChild<QTextBrowser*>()->toPlainText().left(10);
        };
        QCOMPARE(shown({}), QString());
        QCOMPARE(shown({0}), u"download install releaseNotes Viewer 4.3"_s);
        QCOMPARE(shown({1}), u"download Viewer 4.3"_s);
        QCOMPARE(shown({0, 1}), u"download "_s);
    }

    void downloadsFromSafePlacesOnly()
    {
        Fixture f;
        f.checkFor(test::packageElement("5.0", "file://127.0.0.1/share/a.exe"));
        f.install();
        QTRY_COMPARE(f.end(), u"window, Download Error: Error code 301, "
                              "[zk::SoftwareUpdateClient::installPackage] package is not "
                              "downloaded: file://127.0.0.1/share/a.exe"_s);
    }

    void opensSafePagesOnly()
    {
        Fixture f;
        f.checkFor("<package release=\"4.3\"><file url=\"http://h/a.exe\"/>"
                   "<release-notes url=\"notes.html\"/>"
                   "<release-notes language=\"de\" url=\"http://h/de\"/></package>"
                   "<package release=\"4.3\"><file url=\"javascript:b.exe\"/>"
                   "<release-notes url=\"file://host/share\"/></package>");
        const QStringList schemes{u"http"_s, u"javascript"_s, u"file"_s};
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
        emit f.available()->linkActivated(QUrl(u"javascript:c"_s));
        for (const QString& scheme : schemes) {
            QDesktopServices::unsetUrlHandler(scheme);
        }
        QCOMPARE(m_opened,
                 (QStringList{u"http://h/a.exe"_s, f.server.url("/notes.html").toString()}));
        QCOMPARE(f.log.lines(Log::eError).filter(u"link is not opened"_s).size(), 3);
        QCOMPARE(f.robot.seen(), QStringList());
        QCOMPARE(f.server.requests().size(), 2);
    }
};

QTEST_MAIN(tst_InstallFlow)
#include "tst_InstallFlow.moc"

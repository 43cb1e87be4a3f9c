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
using namespace zk::test;
using Fixture = InstallFixture;
using Act = void (*)(Fixture&);

Q_DECLARE_METATYPE(Act)

namespace {

constexpr int half = 120;
const auto nothingFound = u"[zk::SoftwareUpdateClient::parseServerResponse] no update available"_s;
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
    f.checkFor(packageElement("5.0", "http://127.0.0.1:1/other.msi"));
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
    void initTestCase() { dropOffscreenSizeHintLine(); }

    void downloads_data()
    {
        columns<Answer, Act, QString>("answer", "act", "end");
        const QByteArray program = StandIn::bytes();
        const auto fails = [](const char* name, const Answer& answer, int code) {
            const auto end = u"window, Download Error: Error code %1"_s;
            row(name, answer, keepStill, end.arg(code));
        };
        const QByteArray body(2000, 'x');
        fails("part of a file", http(206, "part"), 299);
        fails("use proxy is no redirect", http(305, "p", "Location: /file\r\n"), 299);
        fails("nothing in it", http(200), 299);
        fails("not found", http(404, "page"), 203);
        fails("cut in the middle", partial(body, 1000, Answer::eClose), 2);
        fails("no content", http(204), 299);
        fails("redirect without target", http(302, "page"), 299);
        fails("redirect to another kind of place", redirect(302, "gopher://127.0.0.1/"), 301);
        fails("redirect loop", redirect(302, "/loop"), 10);
        fails("redirect to TLS where there is none", redirect(302, "https://127.0.0.1:1"), 1);
        fails("authentication wanted by no proxy", http(407), 105);
        fails("redirect to a file", redirect(302, "file:///etc/hostname"), 301);
        fails("redirect to a share", redirect(302, "file://127.0.0.1/share/a.exe"), 301);

        const auto started = u"started, setup.exe"_s;
        for (const int status : {301, 302, 303, 307, 308}) {
            row("redirect " + QByteArray::number(status), redirect(status, "/moved"), keepStill,
                started);
        }
        Answer drip = http(200, program);
        drip.dripMs = 1;
        drip.dropSize = drip.bytes.size() / 50;
        row("slow drip", drip, keepStill, started);
        const QByteArray packed = qCompress(program).mid(4);
        const char* const isPacked = "Content-Encoding: deflate\r\n";
        row("compressed", http(200, packed, isPacked), keepStill, started);
        fails("compressed and cut", http(200, packed.chopped(9), isPacked), 399);
        row("no length", Answer{"HTTP/1.1 200 OK\r\n\r\n" + program}, keepStill, started);
        const auto goesOn = [&program](const char* name, const auto& end, Act act) {
            row(name, partial(program, half, Answer::eSilence), act, end);
        };
        goesOn("cancelled half-way", "window", cancel);
        goesOn("list closed", "", [](Fixture& f) { f.available()->close(); });
        goesOn("no package is found, then cancelled", nothingFound, [](Fixture& f) {
            findNothing(f);
            // Its rows are no packages any more.
            f.available()->findChild<QTableWidget*>()->selectAll();
            for (const char* name : {"download", "install", "releaseNotes"}) {
                const QString button = QLatin1String(name) + u"PushButton"_s;
                QVERIFY2(!f.available()->findChild<QPushButton*>(button)->isEnabled(), name);
            }
            cancel(f);
        });
        goesOn("installed again", started, [](Fixture& f) {
            f.server.answer("/setup.exe", http(200, f.program));
            f.install();
        });
        goesOn("rejected the second time", started, [](Fixture& f) {
            f.robot.press(question, u"Cancel Install"_s);
            f.install();
        });
        goesOn("another package is found", started, findAnother);
        goesOn("no package is found", started + u", "_s + nothingFound, [](Fixture& f) {
            findNothing(f);
            QVERIFY(f.progress() && f.progress()->isVisible());
        });
        goesOn("dialogs aborted", started, [](Fixture& f) { f.client->abortUpdate(); });
        goesOn("parent gone", "setup.exe", [](Fixture& f) { f.parent.reset(); });
        goesOn("parent gone, then the connection", "", [](Fixture& f) {
            f.parent.reset();
            f.program.clear(); // nothing more is sent
        });
        row("cancelled before the first byte", Answer{{}, Answer::eSilence}, cancel, "window");
        row("cancelled after the last byte", http(200, program), cancelBehindTheLastByte, "window");
    }
    void downloads()
    {
        QFETCH(Answer, answer);
        QFETCH(Act, act);
        QFETCH(QString, end);
        Fixture f;
        f.server.answer("/setup.exe", answer);
        f.server.answer("/moved", http(200, f.program));
        f.server.answer("/loop", redirect(302, "/setup.exe"));
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
            f.server.answer("/setup.exe", http(200, StandIn::bytes()));
            f.install();
            QTRY_COMPARE(f.end(), end.replace(u"window"_s, u"started, setup.exe"_s));
        }
    }

    void asks_data()
    {
        columns<QString, Act, QString, QString>("box", "act", "button", "end");
        const auto proceed = u"Proceed"_s;
        row("cancelled", question, keepStill, "Cancel Install", "window");
        row("closed", question, keepStill, "(closed)", "window");
        row("another package is found", question, findAnother, proceed,
            "window, Download Error: Error code 203");
        // The question goes with the list it was asked about.
        row("no package is found", question, findNothing, proceed, nothingFound);
        row("client deleted", question, deleteClient, proceed, "window");
        row("client deleted when it fails", "Error code", deleteClient, "OK",
            "progress, window, Download Error: Error code 203");
    }
    void asks()
    {
        QFETCH(QString, box);
        QFETCH(Act, act);
        QFETCH(QString, button);
        Fixture f;
        f.server.answer("/setup.exe", http(404, "page"));
        f.robot.act(box, button, [&] { act(f); });
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
        f.server.answer("/setup.exe", partial(QByteArray(3'000'000, 'x'), 900, Answer::eSilence));
        f.install();
        QTRY_VERIFY(f.progress()->value() > 0);
        QCOMPARE(f.progress()->windowTitle(), u"setup.exe"_s);
        QCOMPARE(f.progress()->labelText(), u"Download Progress"_s);
        const auto* bar = f.progress()->findChild<QProgressBar*>();
        QTRY_VERIFY2(bar->text().endsWith(u" / 2.9 MB"_s), qPrintable(bar->text()));
        QVERIFY(bar->width() > 2 * bar->fontMetrics().horizontalAdvance(bar->text()));
        bool isInTheWay = true;
        f.robot.act(u"Error code"_s, u"OK"_s, [&] { isInTheWay = f.progress()->isVisible(); });
        f.server.finish("/setup.exe", {});
        QTRY_COMPARE(f.end(), u"window, Download Error: Error code 2"_s);
        QVERIFY(!isInTheWay);
    }

    void handsOverByFileType_data()
    {
        columns<QString, int, QString>("line", "pages", "end");
        row("a.msi", "installMSIPackage] trying to run ", 0, "a.msi");
        row("a.rpk", "installRPKPackage] trying to run ", 0, "a.rpk");
        row("a.tar.gz", "installTARGZPackage] trying to run ", 0, "a.tar.gz");
        row("a.deb",
            "installDEBPackage] SoftwareUpdateClient::installDEBPackage() -> trying to run ", 0,
            "a.deb");
        row("a.pkg", "", 1, "a.pkg");
        row("a.mpkg", "", 1, "a.mpkg");
        row("a%2F..%5Cb.pkg", "", 1, "a%2F..%5Cb.pkg");
        const char* const unknown =
            "Download Error: Unknown package type! Installation cannot proceed!";
        row("a.pkg/", "", 0, unknown);
        row("a.PKG", "", 0, unknown);
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
        f.checkFor("<package release='4.3'><file url='http://h/a.exe'/>"
                   "<release-notes url='http://h/n'/></package>" +
                   packageElement("4.3", "http://h/b.zip"));
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
        f.checkFor(packageElement("5.0", "file://127.0.0.1/share/a.exe"));
        f.install();
        QTRY_COMPARE(f.end(), u"window, Download Error: Error code 301, "
                              "[zk::SoftwareUpdateClient::installPackage] package is not "
                              "downloaded: file://127.0.0.1/share/a.exe"_s);
    }

    void opensSafePagesOnly()
    {
        Fixture f;
        f.checkFor(
            "<package release='4.3'><file url='http://h/a.exe'/><release-notes url='n.html'/>"
            "<release-notes language='de' url='http://h/de'/></package>"
            "<package release='4.3'><file url='javascript:b.exe'/>"
            "<release-notes url='file://host/share'/></package>");
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
        QCOMPARE(m_opened, (QStringList{u"http://h/a.exe"_s, f.server.url("/n.html").toString()}));
        QCOMPARE(f.log.lines(Log::eError).filter(u"link is not opened"_s).size(), 3);
        QCOMPARE(f.robot.seen(), QStringList());
        QCOMPARE(f.server.requests().size(), 2);
    }
};

QTEST_MAIN(tst_InstallFlow)
#include "tst_InstallFlow.moc"

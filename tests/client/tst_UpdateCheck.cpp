#include "ClientFixture.h"
#include "LogCapture.h"
#include "MessageFilter.h"
#include "Rows.h"

#include "ui/SoftwareUpdateAvailableDialog.h"

#include <QDir>
#include <QTableWidget>
#include <QTest>
#include <QTextCodec>

using namespace zk;
using test::Answer;

class tst_UpdateCheck : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { test::dropOffscreenSizeHintLine(); }
    void endsInAState_data();
    void endsInAState();
    void sendsTheAddressAsItStands();
    void refusesAddresses_data();
    void refusesAddresses();
    void givesUpOnSilence();
    void stopsAtBodiesTooLarge_data();
    void stopsAtBodiesTooLarge();
    void storesTheTimeOfEachHop();
    void evaluatesOneAnswerOnly();
    void selectsPackages_data();
    void selectsPackages();
    void checksAgainFromAnyState();
};

namespace {

const auto upToDate = QStringLiteral("message Congratulations! Your product is up-to-date!");
const auto nothing = QStringLiteral("message No update available!");

QByteArray newer()
{
    return test::document(test::packageElement("4.3", "a.exe"));
}

QByteArray utf16(const QByteArray& text)
{
    const QString all =
        QStringLiteral("<?xml version=\"1.0\" encoding=\"UTF-16\"?>") + QString::fromUtf8(text);
    return QTextCodec::codecForName("UTF-16")->fromUnicode(all);
}

// qCompress() makes a zlib stream behind four bytes; "deflate" is what HTTP calls one.
QByteArray deflated(const QByteArray& body)
{
    return qCompress(body, 9).mid(4);
}

/** What a check says from its start on, in one line. */
QString said(const QStringList& events)
{
    return events.join(QStringLiteral(", "));
}

const auto started = QStringLiteral("state 0>1, message , last check");

} // namespace

void tst_UpdateCheck::endsInAState_data()
{
    test::columns<Answer, QString>("answer", "end");
    const auto row = [](const char* name, const Answer& answer, int state, const QString& message) {
        test::row(name, answer,
                  QStringLiteral("state 1>%1").arg(state) +
                      (message.isEmpty() ? QString() : QStringLiteral(", ") + message));
    };
    const QByteArray older = test::document(test::packageElement("4.1", "a.exe"));
    row("newer package", test::http(200, newer()), 2, QString());
    row("newer package, compressed",
        test::http(200, deflated(newer()), "Content-Encoding: deflate\r\n"), 2, QString());
    row("newer package in UTF-16", test::http(200, utf16(newer())), 2, QString());
    row("newer package called text/html", test::http(200, newer(), "Content-Type: text/html\r\n"),
        2, QString());
    row("newer package under a name of a million characters",
        test::http(200, test::document(test::packageElement(
                            "4.3", "a.exe", "public-name=\"" + QByteArray(1000000, 'n') + "\""))),
        2, QString());
    row("no newer package", test::http(200, older), 3, upToDate);
    row("newer package of another product", test::http(200, newer().replace("Viewer", "Other")), 3,
        upToDate);
    row("newer package of another kind", test::http(200, newer().replace("a.exe", "a.msi")), 3,
        upToDate);
    row("empty body", test::http(200), 5, nothing);
    row("error page with a good status", test::http(200, "<html><p>sorry<br></html>"), 5, nothing);
    row("truncated document", test::http(200, newer().chopped(20)), 5, nothing);
    row("another document", test::http(200, "<feed><entry release=\"9\"/></feed>"), 5, nothing);
    row("no packages", test::http(200, test::document("")), 5, nothing);
    row("zeros", test::http(200, QByteArray(1000, '\0')), 5, nothing);
    row("redirect without target", test::http(302), 5, nothing);
    row("redirect without target, but a document", test::http(302, newer()), 2, QString());
    row("a redirect that is not followed", test::redirect(308, "/other"), 5, nothing);
    const auto error = [&](const QString& text) { return QStringLiteral("message ") + text; };
    const auto failed = QStringLiteral("message Error transferring URL - server replied: Scripted");
    row("not found", test::http(404), 6, failed);
    row("server error with a document", test::http(500, newer()), 6, failed);
    row("no access", test::http(403, "x"), 6, failed);
    row("reset", Answer{{}, Answer::eReset}, 6, error(QStringLiteral("Connection closed")));
    row("closed at once", Answer{}, 6, error(QStringLiteral("Connection closed")));
    row("cut in the middle", test::partial(QByteArray(2000, 'x'), 1000, Answer::eClose), 6,
        error(QStringLiteral("Connection closed")));
    row("relative redirect", test::redirect(302, "other.xml"), 1,
        QStringLiteral("message , last check, state 1>6, message Protocol \"\" is unknown"));
}

void tst_UpdateCheck::endsInAState()
{
    QFETCH(Answer, answer);
    QFETCH(QString, end);
    if (answer.end == Answer::eReset && !test::isResetNoticed) {
        QSKIP("Wine does not always tell of a reset");
    }
    test::ClientFixture f;
    f.server.answer("/doc.xml", answer);
    f.check();
    QCOMPARE(said(f.events), started);
    QTRY_VERIFY(!f.isChecking());
    QString all = said(f.events);
    QCOMPARE(all.replace(f.server.url("/doc.xml").toString(), QStringLiteral("URL")),
             started + QStringLiteral(", ") + end);
    const auto* dialog = f.dialog<SoftwareUpdateAvailableDialog>();
    QCOMPARE(dialog != nullptr && dialog->isVisible(),
             f.client->state() == SoftwareUpdate::eUpdateAvailable);
}

void tst_UpdateCheck::sendsTheAddressAsItStands()
{
    test::ClientFixture f;
    f.client->performUpdateCheck(f.server.url("/a%20b/?v=4.1&x=%2F;y=1"));
    QTRY_VERIFY(!f.isChecking());
    QCOMPARE(f.server.requests().size(), 1);
    QCOMPARE(f.server.requests()[0].path, QByteArray("/a%20b/?v=4.1&x=%2F;y=1"));
    QCOMPARE(f.server.requests()[0].header("Content-Type"), QByteArray("text/xml"));
    QVERIFY(f.server.requests()[0].head.startsWith("GET "));
}

void tst_UpdateCheck::refusesAddresses_data()
{
    test::columns<QString, QString>("url", "message");
    test::row("empty", QString(), "Protocol \"\" is unknown");
    test::row("relative", "doc.xml", "Protocol \"\" is unknown");
    test::row("unknown scheme", "gopher://127.0.0.1/", "Protocol \"gopher\" is unknown");
    test::row("invalid", "http://[::1/doc.xml", "Host ");
    test::row("nobody there", "http://127.0.0.1:1/", "Connection refused");
    test::row("a file that is not there", "file:///no/such/file.xml", "Error opening");
}

void tst_UpdateCheck::refusesAddresses()
{
    QFETCH(QString, url);
    QFETCH(QString, message);
    const test::LogCapture log;
    test::ClientFixture f;
    f.settings.values[AppSettings::UpdateServerUrl] = url;
    f.client->checkForUpdate();
    QTRY_COMPARE(f.client->state(), SoftwareUpdate::eError);
    QVERIFY2(f.events.last().startsWith(QStringLiteral("message ") + message),
             qPrintable(f.events.last()));
    QVERIFY(log.has(Log::eError, QStringLiteral("timeout occurred requesting update server!")));
    QVERIFY(!log.lines(Log::eInfo).filter(QStringLiteral("reply->errorString(): ")).isEmpty());
}

void tst_UpdateCheck::givesUpOnSilence()
{
    for (const QByteArray& start : {QByteArray(), QByteArray("HTTP/1.1 200 OK\r\n")}) {
        test::ClientFixture f;
        f.server.answer("/doc.xml", Answer{start, Answer::eSilence});
        QVERIFY(!f.timer(15000));
        f.check();
        QTimer* const timer = f.timer(15000);
        QVERIFY(timer && timer->isActive() && timer->isSingleShot());
        QTRY_COMPARE(f.server.requests().size(), 1);
        timer->start(1);
        QTRY_VERIFY(!f.isChecking());
        QCOMPARE(said(f.events), started + QStringLiteral(", state 1>4, message Timeout error! "
                                                          "Update server unreachable!"));
        // An answer that comes after all is heard by nobody.
        f.server.finish(test::http(200, newer()).bytes);
        f.server.answer("/doc.xml", test::http(200));
        f.check();
        QCOMPARE(f.timer(15000), timer);
        QTRY_COMPARE(f.client->state(), SoftwareUpdate::eNoUpdateAvailable);
        QVERIFY(!timer->isActive());
    }
}

void tst_UpdateCheck::stopsAtBodiesTooLarge_data()
{
    test::columns<bool>("compressed");
    test::row("as it is", false);
    test::row("small, but compressed", true);
}

void tst_UpdateCheck::stopsAtBodiesTooLarge()
{
    QFETCH(bool, compressed);
    const int large = 65 * 1024 * 1024;
    const QByteArray body = newer() + QByteArray(large, ' ');
    test::ClientFixture f;
    f.server.answer("/doc.xml",
                    compressed ? test::http(200, deflated(body), "Content-Encoding: deflate\r\n")
                               : test::http(200, body));
    f.check();
    QTRY_COMPARE_WITH_TIMEOUT(f.client->state(), SoftwareUpdate::eError, 20000);
    QCOMPARE(f.events.filter(QStringLiteral("state")).size(), 2);
}

void tst_UpdateCheck::storesTheTimeOfEachHop()
{
    for (const int status : {301, 302, 303, 307}) {
        const test::LogCapture log;
        test::ClientFixture f;
        test::ScriptedServer other;
        f.server.answer("/doc.xml", test::redirect(status, other.url("/there").toEncoded(), "x"));
        other.answer("/there", test::http(200, newer()));
        f.settings.calls.clear();
        f.check();
        QTRY_VERIFY(!f.isChecking());
        QCOMPARE(said(f.events), started + QStringLiteral(", state 1>1, message , last check, ") +
                                     QStringLiteral("state 1>2"));
        QCOMPARE(f.settings.calls.filter(QStringLiteral("set 47")).size(), 2);
        QCOMPARE(other.requests()[0].header("Content-Type"), QByteArray("text/xml"));
        QVERIFY(log.has(Log::eInfo, QStringLiteral("evaluateServerResponse] redirect url ") +
                                        other.url("/there").toString()));
    }
}

void tst_UpdateCheck::evaluatesOneAnswerOnly()
{
    for (int round = 0; round < 40; ++round) {
        test::ClientFixture f;
        f.server.answer("/doc.xml", test::http(200, newer()));
        f.server.answer("/other", test::http(200));
        f.check();
        // Sooner or later, so that answers cross.
        for (int i = 0; i < round % 8; ++i) {
            QCoreApplication::processEvents();
        }
        const bool isCrossing = f.isChecking();
        f.client->performUpdateCheck(f.server.url("/other"));
        QTRY_VERIFY(!f.isChecking());
        const int events = f.events.size();
        QTRY_VERIFY(f.client->findChildren<QNetworkAccessManager*>().size() <= 1);
        QTest::qWait(0);
        QCOMPARE(f.events.size(), events);
        const int ends = f.events.filter(QStringLiteral("state")).size();
        QCOMPARE(ends, isCrossing ? 3 : 4);
    }
}

void tst_UpdateCheck::selectsPackages_data()
{
    test::columns<QString, bool, QString>("cameras", "beta", "shown");
    test::row("no cameras", QString(), false, "Viewer 4.3");
    test::row("beta wanted", QString(), true, "Viewer 5.0 BETA");
    test::row("cameras behind the product, each once", "cam2:1.0,cam1:1.0,cam1:1.1", false,
              "Viewer 4.3|two 3.0|one 2.0");
    test::row("cameras that are up to date", "cam1:2.0,cam2:3.0", false, "Viewer 4.3");
    test::row("a camera of unknown firmware", "cam1", false, "Viewer 4.3|one 2.0");
}

void tst_UpdateCheck::selectsPackages()
{
    QFETCH(QString, cameras);
    QFETCH(bool, beta);
    test::ClientFixture f;
    f.settings.values[AppSettings::UpdateCameraVersions] = cameras;
    f.settings.values[AppSettings::UpdateIncludeBeta] = beta;
    // NOLINTBEGIN(modernize-raw-string-literal): moc cannot read past one
    const QByteArray firmware =
        "<package-set type=\"Camera Firmware\" status=\"STABLE\">"
        "<package name=\"one\" platform=\"cam1\" release=\"2.0\" release-date=\"2026-01-01\">"
        "<file url=\"1.bin\" language=\"de en\"/></package>"
        "<package name=\"two\" platform=\"cam2\" release=\"3.0\" release-date=\"2026-01-02\">"
        "<file url=\"2.bin\" language=\"de en\"/></package></package-set>";
    f.server.answer(
        "/doc.xml",
        test::http(200, test::document("</package-set>" + firmware +
                                       "<package-set name=\"Viewer\" platform=\"Win32\">" +
                                       test::packageElement("4.2", "a.exe", "status=\"STABLE\"") +
                                       test::packageElement("4.3", "b.exe", "status=\"STABLE\"") +
                                       test::packageElement("5.0", "c.exe", "status=\"BETA\""))));
    // NOLINTEND(modernize-raw-string-literal)
    f.check();
    QTRY_VERIFY(!f.isChecking());
    QVERIFY(f.dialog<SoftwareUpdateAvailableDialog>());
    const auto* table = f.dialog<SoftwareUpdateAvailableDialog>()->findChild<QTableWidget*>();
    QStringList names;
    for (int row = 0; row < table->rowCount(); ++row) {
        names << table->item(row, 0)->text();
    }
    QTEST(names.join(QLatin1Char('|')), "shown");
    QCOMPARE(table->horizontalHeaderItem(1)->text(), QStringLiteral("File Size"));
}

void tst_UpdateCheck::checksAgainFromAnyState()
{
    test::ClientFixture f;
    f.server.answer("/doc.xml", {test::http(200, newer()), test::http(200), test::http(404),
                                 test::http(200, newer()), test::http(200, newer())});
    QList<int> states;
    for (int i = 0; i < 5; ++i) {
        if (i == 4) {
            // Nobody to show it to: the check has no end.
            f.parent.reset();
        }
        f.check();
        QTRY_VERIFY(!f.isChecking() || (i == 4 && !f.timer(15000)->isActive()));
        states << f.client->state();
    }
    QCOMPARE(states, (QList<int>{2, 5, 6, 2, 1}));
}

QTEST_MAIN(tst_UpdateCheck)
#include "tst_UpdateCheck.moc"

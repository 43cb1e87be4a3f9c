#include "ClientFixture.h"
#include "DialogRobot.h"
#include "MessageFilter.h"

#include "ui/SoftwareUpdateAvailableDialog.h"
#include "ui/SoftwareUpdateDialog.h"

#include <QProgressDialog>
#include <QPushButton>
#include <QTableWidget>
#include <QTemporaryDir>
#include <QTest>
#include <QTextBrowser>

using namespace zk;
using test::Answer;

/**
 * A user who opens and closes windows all day. What counts is that nothing is left over; the
 * sanitizers see what is freed twice or never.
 */
class tst_Windows : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { test::dropOffscreenSizeHintLine(); }
    void settings_data();
    void settings();
    void downloads();
};

namespace {

constexpr int rounds = 100;

/** The windows that a client has made and not released. */
int windowsLeft(const test::ClientFixture& fixture)
{
    return fixture.parent->findChildren<QDialog*>().size();
}

void offerPackage(test::ClientFixture& f)
{
    f.settings.values[AppSettings::UpdatePackageSuffixes] = QString();
    f.server.answer("/doc.xml",
                    test::http(200, test::document(test::packageElement(
                                        "4.3", f.server.url("/setup.exe").toEncoded()))));
    f.server.answer("/setup.exe", test::partial(QByteArray(4000, 'x'), 2000, Answer::eSilence));
}

} // namespace

void tst_Windows::settings_data()
{
    QTest::addColumn<bool>("modal");
    QTest::newRow("modal") << true;
    QTest::newRow("beside the host's windows") << false;
}

void tst_Windows::settings()
{
    QFETCH(bool, modal);
    test::ClientFixture f;
    for (int i = 0; i < rounds; ++i) {
        // The connection that is published and never made.
        QTest::ignoreMessage(QtWarningMsg, "QObject::connect: No such signal "
                                           "zk::SoftwareUpdateWidget::checkForUpdate()");
        QTest::ignoreMessage(QtWarningMsg,
                             "QObject::connect:  (sender name:   'SoftwareUpdateGui')");
        bool wasVisible = false;
        QTimer::singleShot(0, f.client, [&f, &wasVisible, i] {
            auto* const dialog = f.dialog<SoftwareUpdateDialog>();
            QVERIFY(dialog);
            wasVisible = dialog->isVisible();
            dialog->done(i % 2);
        });
        f.client->queryForUpdate({}, modal);
        QTRY_VERIFY(wasVisible);
        QTRY_COMPARE(windowsLeft(f), 0);
    }
}

// The question, the progress in a download that stops half-way, the error box of one that fails,
// below the window of the offer.
void tst_Windows::downloads()
{
    const QTemporaryDir temporary;
    const QByteArray oldTemporary = qgetenv("TMPDIR");
    qputenv("TMPDIR", temporary.path().toLocal8Bit());
    test::ClientFixture f;
    test::DialogRobot robot;
    robot.press(QStringLiteral("ask you to restart"), QStringLiteral("Proceed"));
    robot.press(QStringLiteral("Error code"), QStringLiteral("OK"));
    offerPackage(f);
    for (int i = 0; i < rounds; ++i) {
        f.check();
        QTRY_VERIFY(f.dialog<SoftwareUpdateAvailableDialog>());
        auto* const dialog = f.dialog<SoftwareUpdateAvailableDialog>();
        auto* const table = dialog->findChild<QTableWidget*>();
        QCOMPARE(table->rowCount(), 1);
        table->selectRow(0);
        QVERIFY(dialog->findChild<QTextBrowser*>()->toPlainText().contains(
            QStringLiteral("setup.exe")));
        const int requests = f.server.requests().size();
        dialog->findChild<QPushButton*>(QStringLiteral("installPushButton"))->click();
        QTRY_VERIFY(f.server.requests().size() > requests);
        auto* const progress = dialog->findChild<QProgressDialog*>();
        QVERIFY(progress && progress->isVisible());
        if (i % 2 == 0) {
            progress->findChild<QPushButton*>()->click();
        } else {
            f.server.finish("", Answer::eClose);
        }
        QTRY_VERIFY(!dialog->findChild<QProgressDialog*>());
        QTRY_COMPARE(robot.seen().size(), i + 1 + (i + 1) / 2);
        dialog->done(i % 2);
        QTRY_COMPARE(windowsLeft(f), 0);
    }
    qputenv("TMPDIR", oldTemporary);
}

QTEST_MAIN(tst_Windows)
#include "tst_Windows.moc"

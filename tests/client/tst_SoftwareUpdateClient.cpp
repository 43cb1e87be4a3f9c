#include "ClientFixture.h"
#include "LogCapture.h"
#include "MessageFilter.h"

#include "ui/SoftwareUpdateAvailableDialog.h"
#include "ui/SoftwareUpdateDialog.h"
#include "ui/SoftwareUpdateWidget.h"

#include <QTest>

using namespace zk;
using test::Answer;

class tst_SoftwareUpdateClient : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { test::dropOffscreenSizeHintLine(); }
    void existsOnce();
    void letsTheHostsArgumentsWin();
    void storesWhatTheHostSays();
    void runsTheSchedule();
    void startsWithTheChosenCheck_data();
    void startsWithTheChosenCheck();
    void firesOnSchedule_data();
    void firesOnSchedule();
    void leavesNoConnectionBehind();
    void delaysEachCheckOnItsOwn();
    void worksWithoutASettingsStore();
    void showsTheSettingsDialog();
    void executesTheSettingsDialogOnce();
    void survivesDeletionUnderTheSettingsDialog();
    void isNotInterruptedByBackgroundChecks();
    void abortsDialogsOnly();
    void keepsTheAvailableDialogWhenTheSettingsClose();
};

namespace {

constexpr int hour = 3600000;

// The panel's signal of that name carries an address; the connection of old is kept and never made.
void announceDialog()
{
    QTest::ignoreMessage(QtWarningMsg, "QObject::connect: No such signal "
                                       "zk::SoftwareUpdateWidget::checkForUpdate()");
    QTest::ignoreMessage(QtWarningMsg, "QObject::connect:  (sender name:   'SoftwareUpdateGui')");
}

void queryLastUpdate(test::ClientFixture& f)
{
    QMetaObject::invokeMethod(f.client, "queryLastUpdate");
}

} // namespace

void tst_SoftwareUpdateClient::existsOnce()
{
    QVERIFY(!SoftwareUpdateClient::instance());
    SoftwareUpdateClient::deleteInstance();
    {
        test::ClientFixture f;
        f.settings.calls.clear();
        SoftwareUpdateClient::init(QStringLiteral("Other"), VersionNumber(L"9"),
                                   QStringLiteral("http://other/"), &f.settings);
        QCOMPARE(SoftwareUpdateClient::instance(), f.client);
        QCOMPARE(f.settings.calls, QStringList());
        QCOMPARE(f.client->state(), SoftwareUpdate::eIdle);
        QVERIFY(!static_cast<QObject*>(f.client)->parent());
    }
    QVERIFY(!SoftwareUpdateClient::instance());
    QCOMPARE(QMetaType::type("zk::SoftwareUpdate::EState"), qMetaTypeId<SoftwareUpdate::EState>());
}

void tst_SoftwareUpdateClient::letsTheHostsArgumentsWin()
{
    test::RecordingSettings settings;
    for (int key = 39; key <= 51; ++key) {
        settings.values[key] = QStringLiteral("old");
    }
    SoftwareUpdateClient::init(QStringLiteral("Viewer"), VersionNumber(L"4.1"),
                               QStringLiteral("http://h/"), &settings);
    QCOMPARE(settings.values[AppSettings::UpdateProductName].toString(), QStringLiteral("Viewer"));
    QCOMPARE(settings.values[AppSettings::UpdateProductVersion].toString(), QStringLiteral("4.1"));
    QCOMPARE(settings.values[AppSettings::UpdateServerUrl].toString(), QStringLiteral("http://h/"));
    QCOMPARE(settings.values[AppSettings::UpdatePlatforms].toString(),
             QStringLiteral("Win32,Win64"));
    QCOMPARE(settings.values[AppSettings::UpdatePackageSuffixes].toString(),
             QStringLiteral("exe,zip"));
    QCOMPARE(settings.values[AppSettings::UpdateInstallableSuffixes].toString(),
             QStringLiteral("exe"));
    QCOMPARE(settings.values[AppSettings::UpdateCameraVersions].toString(), QStringLiteral("old:"));
    SoftwareUpdateClient::deleteInstance();
}

void tst_SoftwareUpdateClient::storesWhatTheHostSays()
{
    test::ClientFixture f;
    f.client->setVersionNumber(VersionNumber(L"5.0"));
    f.client->setCurrentCameraVersions({{QStringLiteral("cam"), VersionNumber(L"1.2")}});
    f.client->setCurrentCameraVersions({});
    QCOMPARE(f.client->getSettings().version, VersionNumber(L"5.0"));
    QCOMPARE(f.settings.values[AppSettings::UpdateCameraVersions].toString(),
             QStringLiteral("cam:1.2"));

    SoftwareUpdateWidgetSettings chosen;
    chosen.includeBeta = true;
    chosen.checkInterval = 2;
    chosen.updateServerUrl = QStringLiteral("http://new/");
    f.client->applyDialogSettings(chosen);
    SoftwareUpdate::SoftwareUpdateSettings stored = f.client->getSettings();
    QVERIFY(!stored.automaticCheck && stored.includeBeta);
    QCOMPARE(stored.checkInterval, 2);
    QCOMPARE(stored.serverUrl, QStringLiteral("http://new/"));
    QVERIFY(!f.timer(hour)->isActive());
    chosen.checkForUpdates = true;
    chosen.updateServerUrl.clear();
    f.client->applyDialogSettings(chosen);
    QVERIFY(f.timer(hour)->isActive());
    QCOMPARE(f.client->getSettings().serverUrl, QStringLiteral("http://new/"));
}

void tst_SoftwareUpdateClient::runsTheSchedule()
{
    test::ClientFixture f;
    QTimer* const timer = f.timer(hour);
    QVERIFY(timer);
    QVERIFY(timer->isActive() && !timer->isSingleShot());
    f.settings.calls.clear();
    f.client->disableSoftwareUpdate();
    QVERIFY(!timer->isActive());
    f.client->enableSoftwareUpdate();
    QVERIFY(timer->isActive());
    f.client->abortUpdate();
    QVERIFY(!timer->isActive());
    QCOMPARE(f.settings.calls, QStringList());
    QCOMPARE(f.events, QStringList());
}

void tst_SoftwareUpdateClient::startsWithTheChosenCheck_data()
{
    QTest::addColumn<bool>("automatic");
    QTest::addColumn<int>("interval");
    QTest::addColumn<int>("daysAgo");
    QTest::addColumn<bool>("checks");
    QTest::newRow("automatic checks are off") << false << 0 << 100 << false;
    QTest::newRow("at every start, checked just now") << true << 0 << 0 << true;
    QTest::newRow("daily, checked just now") << true << 1 << 0 << false;
    QTest::newRow("daily, due") << true << 1 << 2 << true;
    QTest::newRow("weekly, not due") << true << 2 << 2 << false;
    QTest::newRow("monthly, due") << true << 3 << 40 << true;
    QTest::newRow("an interval that is none") << true << 7 << 400 << false;
}

void tst_SoftwareUpdateClient::startsWithTheChosenCheck()
{
    QFETCH(bool, automatic);
    QFETCH(int, interval);
    QFETCH(int, daysAgo);
    QFETCH(bool, checks);
    for (const int delay : {0, 1}) {
        test::ClientFixture f;
        f.settings.values[AppSettings::UpdateAutomaticCheck] = automatic;
        f.settings.values[AppSettings::UpdateCheckInterval] = interval;
        f.settings.values[AppSettings::UpdateLastCheck] =
            QDateTime::currentDateTime().addDays(-daysAgo);
        f.client->doInitialCheck(delay);
        QCOMPARE(f.isChecking(), checks && delay == 0);
        QTRY_COMPARE(f.client->state(), checks ? SoftwareUpdate::eError : SoftwareUpdate::eIdle);
        QCOMPARE(f.timer(delay) != nullptr, checks && delay == 1);
    }
}

void tst_SoftwareUpdateClient::firesOnSchedule_data()
{
    QTest::addColumn<int>("interval");
    QTest::addColumn<QString>("name");
    QTest::newRow("daily") << 1 << QStringLiteral("daily");
    QTest::newRow("weekly") << 2 << QStringLiteral("weekly");
    QTest::newRow("monthly") << 3 << QStringLiteral("monthly");
}

void tst_SoftwareUpdateClient::firesOnSchedule()
{
    QFETCH(int, interval);
    QFETCH(QString, name);
    const test::LogCapture log;
    test::ClientFixture f;
    f.settings.values[AppSettings::UpdateCheckInterval] = interval;
    f.server.answer("/doc.xml", Answer{{}, Answer::eSilence});
    // By the timer itself, as after an hour.
    f.timer(hour)->start(0);
    QTRY_COMPARE(f.server.requests().size(), 1);
    QVERIFY(f.isChecking());
    f.client->disableSoftwareUpdate();
    QVERIFY(log.has(Log::eInfo,
                    QStringLiteral("queryLastUpdate] ") + name + QStringLiteral(" update fired")));
    // The time of this check counts from now on, or there would be one every hour.
    const QDateTime stored = f.client->getSettings().lastCheck;
    QVERIFY(stored.secsTo(QDateTime::currentDateTime()) < 60);
    f.server.finish(test::http(404).bytes);
    QTRY_VERIFY(!f.isChecking());
    queryLastUpdate(f);
    QVERIFY(!f.isChecking());
    f.settings.values[AppSettings::UpdateLastCheck] = stored.addDays(-1).addSecs(-100);
    queryLastUpdate(f);
    QCOMPARE(f.isChecking(), interval == 1);
    f.server.answer("/doc.xml", test::http(404));
    QTRY_VERIFY(interval != 1 || f.server.requests().size() == 2);
    f.server.finish(test::http(404).bytes);
    QTRY_VERIFY(!f.isChecking());
}

void tst_SoftwareUpdateClient::leavesNoConnectionBehind()
{
    test::ClientFixture f;
    f.server.answer("/doc.xml", Answer{{}, Answer::eSilence});
    f.check();
    QTRY_COMPARE(f.server.requests().size(), 1);
    SoftwareUpdateClient::deleteInstance();
    // The other side would keep it open for the next request.
    f.server.finish("HTTP/1.1 200 OK\r\nContent-Length: 0\r\n\r\n", Answer::eSilence);
    QTRY_COMPARE(f.server.connections(), 0);
}

void tst_SoftwareUpdateClient::delaysEachCheckOnItsOwn()
{
    test::ClientFixture f;
    f.client->checkForUpdate(12345);
    f.client->checkForUpdate(12346);
    QVERIFY(f.timer(12345)->isSingleShot() && f.timer(12346)->isActive());
    QVERIFY(f.events.isEmpty());
    f.timer(12345)->start(0);
    QTRY_VERIFY(f.events.contains(QStringLiteral("state 1>6")));
    QVERIFY(f.timer(0) && !f.timer(0)->isActive());
}

void tst_SoftwareUpdateClient::worksWithoutASettingsStore()
{
    const test::LogCapture log;
    SoftwareUpdateClient::init(QStringLiteral("Viewer"), VersionNumber(L"1"),
                               QStringLiteral("http://127.0.0.1:1/"), nullptr);
    QCOMPARE(log.lines(Log::eError).size(), 1);
    SoftwareUpdateClient* const client = SoftwareUpdateClient::instance();
    client->setVersionNumber(VersionNumber(L"2"));
    client->doInitialCheck();
    QTRY_COMPARE(client->state(), SoftwareUpdate::eError);
    QCOMPARE(client->getSettings().productName, QString());
    SoftwareUpdateClient::deleteInstance();
}

void tst_SoftwareUpdateClient::showsTheSettingsDialog()
{
    test::ClientFixture f;
    f.client->setParent(nullptr);
    f.client->queryForUpdate();
    QCOMPARE(f.events, QStringList());

    f.client->setParent(f.parent.get());
    f.settings.values[AppSettings::UpdateCheckInterval] = 2;
    announceDialog();
    f.client->setWindowFlags(Qt::Dialog | Qt::WindowStaysOnTopHint);
    f.client->queryForUpdate({}, false);
    QPointer<SoftwareUpdateDialog> dialog = f.dialog<SoftwareUpdateDialog>();
    QVERIFY(dialog && dialog->isVisible() && !dialog->isModal());
    QVERIFY(dialog->windowFlags() & Qt::WindowStaysOnTopHint);
    QCOMPARE(f.events, QStringList{QStringLiteral("message ")});
    QCOMPARE(dialog->updateWidget()->getSettings().checkInterval, 2);

    // The same dialog again, filled anew; its choice is stored when it says so.
    f.settings.values[AppSettings::UpdateCheckInterval] = 3;
    f.client->queryForUpdate({}, false);
    QCOMPARE(f.dialog<SoftwareUpdateDialog>(), dialog.data());
    QCOMPARE(dialog->updateWidget()->getSettings().checkInterval, 3);
    SoftwareUpdateWidgetSettings chosen;
    chosen.checkInterval = 1;
    emit dialog->updateWidget()->applySettings(chosen);
    QCOMPARE(f.client->getSettings().checkInterval, 1);
    dialog->reject();
    QTRY_VERIFY(!dialog);
}

void tst_SoftwareUpdateClient::executesTheSettingsDialogOnce()
{
    test::ClientFixture f;
    announceDialog();
    int executed = 0;
    QTimer::singleShot(0, f.client, [&] {
        QVERIFY(f.dialog<SoftwareUpdateDialog>()->isModal());
        f.client->queryForUpdate();
        // Back at once: the first call is the one that waits.
        QCOMPARE(executed, 0);
        f.dialog<SoftwareUpdateDialog>()->accept();
    });
    f.client->queryForUpdate();
    ++executed;
    QTRY_VERIFY(!f.dialog<SoftwareUpdateDialog>());
    announceDialog();
    QTimer::singleShot(0, f.client, [&] { f.client->abortUpdate(); });
    QMetaObject::invokeMethod(f.client, "openSettingsDialogFromUpdateAvailableDialog");
    QTRY_VERIFY(!f.dialog<SoftwareUpdateDialog>());
}

void tst_SoftwareUpdateClient::survivesDeletionUnderTheSettingsDialog()
{
    for (const bool parentToo : {false, true}) {
        test::ClientFixture f;
        announceDialog();
        QTimer::singleShot(0, f.parent.get(), [&] {
            const QPointer<SoftwareUpdateDialog> dialog = f.dialog<SoftwareUpdateDialog>();
            SoftwareUpdateClient::deleteInstance();
            QVERIFY(dialog);
            if (parentToo) {
                f.parent.reset();
            } else {
                dialog->reject();
            }
        });
        f.client->queryForUpdate();
        QVERIFY(!SoftwareUpdateClient::instance());
    }
}

void tst_SoftwareUpdateClient::isNotInterruptedByBackgroundChecks()
{
    test::ClientFixture f;
    f.settings.values[AppSettings::UpdateAutomaticCheck] = false;
    f.settings.calls.clear();
    f.client->checkForUpdate();
    f.client->checkForUpdate(1);
    QVERIFY(f.settings.calls.filter(QStringLiteral("set")).isEmpty());
    QVERIFY(!f.isChecking() && !f.timer(1));

    f.settings.values[AppSettings::UpdateAutomaticCheck] = true;
    f.settings.values[AppSettings::UpdateCheckInterval] = 1;
    announceDialog();
    f.client->queryForUpdate({}, false);
    f.client->checkForUpdate(0);
    QMetaObject::invokeMethod(f.client, "doBackgroundCheck");
    queryLastUpdate(f);
    f.client->checkForUpdate(1);
    QTRY_VERIFY(f.timer(1) && !f.timer(1)->isActive());
    QVERIFY(!f.isChecking());

    // The user's own check goes to the address that he typed, whatever is stored.
    f.settings.values[AppSettings::UpdateAutomaticCheck] = false;
    SoftwareUpdateWidgetSettings typed =
        f.dialog<SoftwareUpdateDialog>()->updateWidget()->getSettings();
    typed.updateServerUrl = f.server.url("/typed").toString();
    f.dialog<SoftwareUpdateDialog>()->updateWidget()->setSettings(typed);
    f.client->checkForUpdate();
    QTRY_COMPARE(f.client->state(), SoftwareUpdate::eError);
    QCOMPARE(f.server.requests().last().path, QByteArray("/typed"));
    QVERIFY(f.client->getSettings().serverUrl.endsWith(QLatin1String("/doc.xml")));
}

void tst_SoftwareUpdateClient::abortsDialogsOnly()
{
    test::ClientFixture f;
    announceDialog();
    f.client->queryForUpdate({}, false);
    f.server.answer("/doc.xml",
                    test::http(200, test::document(test::packageElement("4.3", "a.exe"))));
    f.check();
    f.client->abortUpdate();
    QTRY_VERIFY(!f.dialog<SoftwareUpdateDialog>());
    QTRY_COMPARE(f.client->state(), SoftwareUpdate::eUpdateAvailable);
    QVERIFY(f.dialog<SoftwareUpdateAvailableDialog>());
    f.client->abortUpdate();
    QTRY_VERIFY(!f.dialog<SoftwareUpdateAvailableDialog>());
    QCOMPARE(f.client->state(), SoftwareUpdate::eUpdateAvailable);
}

void tst_SoftwareUpdateClient::keepsTheAvailableDialogWhenTheSettingsClose()
{
    test::ClientFixture f;
    announceDialog();
    f.client->queryForUpdate({}, false);
    f.server.answer("/doc.xml",
                    test::http(200, test::document(test::packageElement("4.3", "a.exe"))));
    f.check();
    QTRY_COMPARE(f.client->state(), SoftwareUpdate::eUpdateAvailable);
    const QPointer<SoftwareUpdateAvailableDialog> available =
        f.dialog<SoftwareUpdateAvailableDialog>();
    QCOMPARE(available->parentWidget(), f.dialog<SoftwareUpdateDialog>());
    f.dialog<SoftwareUpdateDialog>()->accept();
    QTRY_VERIFY(!f.dialog<SoftwareUpdateDialog>());
    QVERIFY(available && available->isVisible());
    available->reject();
    QTRY_VERIFY(!available);
}

QTEST_MAIN(tst_SoftwareUpdateClient)
#include "tst_SoftwareUpdateClient.moc"

#include "ClientFixture.h"
#include "Environment.h"
#include "LogCapture.h"
#include "Rows.h"

#include "ui/SoftwareUpdateAvailableDialog.h"
#include "ui/SoftwareUpdateDialog.h"
#include "ui/SoftwareUpdateWidget.h"

#include <QProgressBar>
#include <QPushButton>

using namespace zk;

namespace {

constexpr int hour = 3600000;

struct Fixture : test::ClientFixture
{
    SoftwareUpdateDialog* settingsDialog() const { return dialog<SoftwareUpdateDialog>(); }
    /** The settings dialog is shown; the connection of old that is never made says so. */
    void showSettings(bool modal = false) const
    {
        QTest::ignoreMessage(QtWarningMsg, "QObject::connect: No such signal "
                                           "zk::SoftwareUpdateWidget::checkForUpdate()");
        QTest::ignoreMessage(QtWarningMsg,
                             "QObject::connect:  (sender name:   'SoftwareUpdateGui')");
        client->queryForUpdate({}, modal);
    }
};

} // namespace

class tst_SoftwareUpdateClient : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { test::dropOffscreenSizeHintLine(); }

    void existsOnceAndLetsTheHostsArgumentsWin()
    {
        QVERIFY(!SoftwareUpdateClient::instance());
        SoftwareUpdateClient::deleteInstance();
        test::RecordingSettings settings;
        for (int key = 39; key <= 51; ++key) {
            settings.values[key] = u"old"_s;
        }
        SoftwareUpdateClient::init(u"Viewer"_s, VersionNumber(L"4.1"), u"http://h/"_s, &settings);
        QStringList values;
        for (const int key : {39, 40, 43, 48, 49, 50, 51}) {
            values << settings.values[key].toString();
        }
        QCOMPARE(values.join(u'|'), u"Viewer|4.1|http://h/|Win32,Win64|exe,zip|exe|old:"_s);
        const SoftwareUpdateClient* const first = SoftwareUpdateClient::instance();
        settings.calls.clear();
        SoftwareUpdateClient::init(u"Other"_s, VersionNumber(L"9"), u"http://other/"_s, &settings);
        QCOMPARE(SoftwareUpdateClient::instance(), first);
        QCOMPARE(settings.calls, QStringList());
        SoftwareUpdateClient::deleteInstance();
        QVERIFY(!SoftwareUpdateClient::instance());
    }

    void runsTheScheduleAsTheUserWants()
    {
        Fixture f;
        QTimer* const timer = f.timer(hour);
        QVERIFY(timer);
        QVERIFY(timer->isActive() && !timer->isSingleShot());
        f.client->abortUpdate();
        QVERIFY(!timer->isActive());
        SoftwareUpdateWidgetSettings chosen;
        chosen.checkForUpdates = true;
        f.client->applyDialogSettings(chosen);
        QVERIFY(timer->isActive());
        chosen.checkForUpdates = false;
        f.client->applyDialogSettings(chosen);
        QVERIFY(!timer->isActive());
    }

    void startsWithTheChosenCheck()
    {
        const auto checks = [](bool automatic, int interval, int daysAgo) {
            Fixture f;
            f.settings.values[AppSettings::UpdateAutomaticCheck] = automatic;
            f.settings.values[AppSettings::UpdateCheckInterval] = interval;
            f.settings.values[AppSettings::UpdateLastCheck] =
                QDateTime::currentDateTime().addDays(-daysAgo);
            f.client->doInitialCheck(12345);
            const bool isDelayed = !f.isChecking() && f.timer(12345);
            f.client->doInitialCheck(0);
            return int(isDelayed) + int(f.isChecking());
        };
        // At once and after a delay.
        QCOMPARE(checks(true, 0, 0), 2);
        QCOMPARE(checks(false, 0, 100), 0);
        QCOMPARE(checks(true, 1, 0), 0);
        QCOMPARE(checks(true, 1, 2), 2);
        QCOMPARE(checks(true, 7, 400), 0); // an interval that is none
    }

    void firesOnSchedule()
    {
        const QStringList names = test::lines("daily\nweekly\nmonthly");
        for (int interval = 1; interval <= names.size(); ++interval) {
            const test::LogCapture log;
            Fixture f;
            f.settings.values[AppSettings::UpdateCheckInterval] = interval;
            f.settings.values[AppSettings::UpdateLastCheck] = QDate(2020, 1, 1).startOfDay();
            // By the timer itself, as after an hour.
            f.timer(hour)->start(0);
            QTRY_COMPARE(f.server.requests().size(), 1);
            f.client->disableSoftwareUpdate();
            const auto record = u"queryLastUpdate] %1 update fired"_s;
            QCOMPARE(log.lines(Log::eInfo).filter(record.arg(names[interval - 1])).size(), 1);
            QTRY_VERIFY(!f.isChecking());
            // The time of this check counts from now on, or there would be one every hour.
            QMetaObject::invokeMethod(f.client, "queryLastUpdate");
            QVERIFY(!f.isChecking());
            f.settings.values[AppSettings::UpdateLastCheck] =
                f.client->getSettings().lastCheck.addDays(-1).addSecs(-100);
            QMetaObject::invokeMethod(f.client, "queryLastUpdate");
            QCOMPARE(f.isChecking(), interval == 1);
            QTRY_VERIFY(!f.isChecking());
        }
    }

    void worksWithoutASettingsStore()
    {
        const test::LogCapture log;
        SoftwareUpdateClient::init(u"V"_s, VersionNumber(L"1"), u"http://127.0.0.1:1/"_s, nullptr);
        QCOMPARE(log.lines(Log::eError).size(), 1);
        SoftwareUpdateClient* const client = SoftwareUpdateClient::instance();
        client->setVersionNumber(VersionNumber(L"2"));
        client->doInitialCheck();
        QTRY_COMPARE(client->state(), SoftwareUpdate::eError);
        SoftwareUpdateClient::deleteInstance();
    }

    void showsTheSettingsDialog()
    {
        Fixture f;
        f.client->setParent(nullptr);
        f.client->queryForUpdate();
        QCOMPARE(f.events, QStringList());

        f.client->setParent(f.parent.get());
        f.settings.values[AppSettings::UpdateCheckInterval] = 2;
        f.showSettings();
        const QPointer<SoftwareUpdateDialog> dialog = f.settingsDialog();
        QVERIFY(dialog && dialog->isVisible() && !dialog->isModal());
        QCOMPARE(dialog->updateWidget()->getSettings().checkInterval, 2);

        // The same dialog again; its choice is stored when it says so.
        f.client->queryForUpdate({}, false);
        QCOMPARE(f.settingsDialog(), dialog.data());
        SoftwareUpdateWidgetSettings chosen;
        chosen.checkInterval = 1;
        emit dialog->updateWidget()->applySettings(chosen);
        QCOMPARE(f.client->getSettings().checkInterval, 1);
        dialog->reject();
        QTRY_VERIFY(!dialog);
    }

    void survivesWhatHappensUnderTheSettingsDialog()
    {
        using Act = void (*)(Fixture&);
        const Act askAgain = [](Fixture& f) {
            QVERIFY(f.settingsDialog()->isModal());
            // Back at once: the first call is the one that waits.
            f.client->queryForUpdate();
            f.settingsDialog()->accept();
        };
        const Act deleteClient = [](Fixture& f) {
            SoftwareUpdateClient::deleteInstance();
            f.settingsDialog()->reject();
        };
        const Act deleteBoth = [](Fixture& f) {
            SoftwareUpdateClient::deleteInstance();
            f.parent.reset();
        };
        for (const Act act : {askAgain, deleteClient, deleteBoth}) {
            Fixture f;
            bool isDone = false;
            QTimer::singleShot(0, f.parent.get(), [&] {
                act(f);
                isDone = true;
            });
            f.showSettings(true);
            QVERIFY(isDone);
            QTRY_VERIFY(!f.settingsDialog() || !SoftwareUpdateClient::instance());
        }
    }

    void isNotInterruptedByBackgroundChecks()
    {
        Fixture f;
        f.settings.values[AppSettings::UpdateAutomaticCheck] = false;
        f.client->checkForUpdate();
        f.client->checkForUpdate(1);
        QVERIFY(!f.isChecking() && !f.timer(1));

        f.settings.values[AppSettings::UpdateAutomaticCheck] = true;
        f.settings.values[AppSettings::UpdateCheckInterval] = 1;
        f.showSettings();
        f.events.clear();
        f.client->checkForUpdate(0);
        QMetaObject::invokeMethod(f.client, "doBackgroundCheck");
        QMetaObject::invokeMethod(f.client, "queryLastUpdate");
        f.client->checkForUpdate(1);
        QTRY_VERIFY(f.timer(1) && !f.timer(1)->isActive());
        QCOMPARE(f.events, QStringList());

        // The user's own check goes to the address that he typed.
        SoftwareUpdateWidget* const widget = f.settingsDialog()->updateWidget();
        SoftwareUpdateWidgetSettings typed = widget->getSettings();
        typed.updateServerUrl = f.server.url("/typed").toString();
        widget->setSettings(typed);
        const auto isBusy = [widget] {
            const auto* bar = widget->findChild<QProgressBar*>();
            const bool isShown = bar->isVisible() && bar->isEnabled();
            return widget->findChild<QPushButton*>()->isEnabled() ? int(isShown) : 2 + int(isShown);
        };
        f.client->checkForUpdate();
        QCOMPARE(isBusy(), 3);
        QTRY_COMPARE(f.client->state(), SoftwareUpdate::eError);
        QCOMPARE(isBusy(), 0);
        QCOMPARE(f.server.requests().size(), 1);
        QCOMPARE(f.server.requests().last().path, QByteArray("/typed"));
        f.client->checkForUpdate();
        f.timer(15000)->start(0);
        QTRY_COMPARE(f.client->state(), SoftwareUpdate::eTimeout);
        QCOMPARE(isBusy(), 0);
    }

    void closesOneDialogAtATime()
    {
        Fixture f;
        f.showSettings();
        f.checkFor(test::packageElement("4.3", "a.exe"));
        QCOMPARE(f.client->state(), SoftwareUpdate::eUpdateAvailable);
        const QPointer available(f.dialog<SoftwareUpdateAvailableDialog>());
        QCOMPARE(available->parentWidget(), f.settingsDialog());
        f.settingsDialog()->accept();
        QTRY_VERIFY(!f.settingsDialog());
        QVERIFY(available && available->isVisible());
        f.client->abortUpdate();
        QTRY_VERIFY(!available);
        QCOMPARE(f.client->state(), SoftwareUpdate::eUpdateAvailable);
    }
};

QTEST_MAIN(tst_SoftwareUpdateClient)
#include "tst_SoftwareUpdateClient.moc"

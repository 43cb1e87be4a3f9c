#include "ui/SoftwareUpdateDialog.h"
#include "ui/SoftwareUpdateWidget.h"

#include "UiTestSupport.h"
#include "tests/support/MessageFilter.h"
#include "tests/support/Rows.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDialogButtonBox>
#include <QLineEdit>
#include <QProgressBar>
#include <QPushButton>
#include <QSignalSpy>
#include <QWindow>

using namespace zk;

namespace {

/** Keeps modifier keys held, as the platform reports them, for as long as it lives. */
class HeldKeys
{
public:
    explicit HeldKeys(Qt::KeyboardModifiers modifiers)
    {
        QTest::keyPress(&m_window, Qt::Key_Shift, modifiers);
    }
    ~HeldKeys() { QTest::keyRelease(&m_window, Qt::Key_Shift, Qt::NoModifier); }
    HeldKeys(const HeldKeys&) = delete;
    HeldKeys& operator=(const HeldKeys&) = delete;

private:
    QWindow m_window;
};

template <typename Widget>
Widget* child(const QWidget& parent, const char* name)
{
    return parent.findChild<Widget*>(QLatin1String(name));
}

SoftwareUpdateWidgetSettings someSettings()
{
    SoftwareUpdateWidgetSettings settings;
    settings.checkForUpdates = true;
    settings.includeBeta = true;
    settings.checkInterval = 2;
    settings.updateServerUrl = QStringLiteral("http://127.0.0.1/päckchen list.xml");
    settings.currentVersion = QStringLiteral("4.3.1");
    settings.lastCheck = QStringLiteral("Wednesday, 25 September 2024");
    return settings;
}

} // namespace

class tst_SoftwareUpdateWidget : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { zk::test::dropOffscreenSizeHintLine(); }
    void publishesMethods();
    void hidesExpertFields_data();
    void hidesExpertFields();
    void carriesSettings();
    void hidesCaptions();
    void followsTheClient();
    void checksTheAddressAsTyped();
    void appliesOnceThenCloses();
    void takesTheSizeOfItsContents();
    void isReachableByKeyboardAndScreenReader();
};

void tst_SoftwareUpdateWidget::publishesMethods()
{
    const QStringList widget = test::lines(
        "signal checkForUpdate(QUrl)\n"
        "signal applySettings(SoftwareUpdateWidgetSettings)\n"
        "signal forceUpdateAvailable()\n"
        "slot enableProgress()\nslot disbaleProgress()\n"
        "slot setMessage(QString)\nslot setLastCheckText(QString)\n"
        "slot clientStateChanged(zk::SoftwareUpdate::EState,zk::SoftwareUpdate::EState)\n"
        "private slot emitApplySettings()\nprivate slot emitCheckForUpdate()");
    QCOMPARE(test::publishedMethods(SoftwareUpdateWidget::staticMetaObject), widget);
    QCOMPARE(test::publishedMethods(SoftwareUpdateDialog::staticMetaObject),
             QStringList{QStringLiteral("private slot standardButtonClicked(QAbstractButton*)")});
}

void tst_SoftwareUpdateWidget::hidesExpertFields_data()
{
    test::columns<int>("modifiers");
    test::row("no key", int(Qt::NoModifier));
    test::row("Shift", int(Qt::ShiftModifier));
    test::row("keypad", int(Qt::KeypadModifier));
}

void tst_SoftwareUpdateWidget::hidesExpertFields()
{
    QFETCH(int, modifiers);
    const HeldKeys keys{Qt::KeyboardModifiers(modifiers)};
    SoftwareUpdateWidget widget(nullptr);
    const bool expert = modifiers != Qt::NoModifier;
    QCOMPARE(child<QWidget>(widget, "checkForBetaCheckBox")->isHidden(), !expert);
    QCOMPARE(child<QWidget>(widget, "updateServerLabel")->isHidden(), !expert);
    QCOMPARE(child<QWidget>(widget, "updateServerLineEdit")->isHidden(), !expert);
}

void tst_SoftwareUpdateWidget::carriesSettings()
{
    SoftwareUpdateWidget widget(nullptr);
    const SoftwareUpdateWidgetSettings in = someSettings();
    widget.setSettings(in);
    const SoftwareUpdateWidgetSettings out = widget.getSettings();
    QCOMPARE(out.checkForUpdates, in.checkForUpdates);
    QCOMPARE(out.includeBeta, in.includeBeta);
    QCOMPARE(out.checkInterval, in.checkInterval);
    QCOMPARE(out.updateServerUrl, in.updateServerUrl);
    QCOMPARE(out.currentVersion, in.currentVersion);
    QCOMPARE(out.lastCheck, in.lastCheck);
    QCOMPARE(child<QComboBox>(widget, "updateComboBox")->currentText(), QStringLiteral("Weekly"));

    widget.setSettings(SoftwareUpdateWidgetSettings());
    QVERIFY(!widget.getSettings().checkForUpdates && !widget.getSettings().includeBeta);
    QCOMPARE(child<QComboBox>(widget, "updateComboBox")->currentText(),
             QStringLiteral("At application start"));

    widget.setNotificationText(QStringLiteral("a"));
    QCOMPARE(child<QLabel>(widget, "updateNotificationLabel")->text(), QStringLiteral("a"));
    widget.setMessage(QStringLiteral("b"));
    QCOMPARE(child<QLabel>(widget, "updateNotificationLabel")->text(), QStringLiteral("b"));
}

void tst_SoftwareUpdateWidget::hidesCaptions()
{
    SoftwareUpdateWidget widget(nullptr);
    SoftwareUpdateWidgetSettings settings = someSettings();
    widget.setSettings(settings);
    QVERIFY(!child<QWidget>(widget, "currentVersionLabel")->isHidden());
    QVERIFY(!child<QWidget>(widget, "lastCheckLabel")->isHidden());

    settings.currentVersion = QString();
    settings.lastCheck = QString();
    widget.setSettings(settings);
    QVERIFY(child<QWidget>(widget, "currentVersionLabel")->isHidden());
    QVERIFY(child<QWidget>(widget, "lastCheckLabel")->isHidden());
    QCOMPARE(widget.getSettings().currentVersion, QStringLiteral("4.3.1"));
    QCOMPARE(widget.getSettings().lastCheck, someSettings().lastCheck);

    settings.currentVersion = QLatin1String("");
    settings.lastCheck = QLatin1String("");
    widget.setSettings(settings);
    QVERIFY(!child<QWidget>(widget, "currentVersionLabel")->isHidden());
    QCOMPARE(widget.getSettings().currentVersion, QString());
    QVERIFY(child<QWidget>(widget, "lastCheckLabel")->isHidden());

    widget.setLastCheckText(QStringLiteral("today"));
    widget.setLastCheckText(QString());
    QVERIFY(child<QWidget>(widget, "lastCheckLabel")->isHidden());
    QCOMPARE(child<QLabel>(widget, "lastCheckDateLabel")->text(), QStringLiteral("today"));
}

void tst_SoftwareUpdateWidget::followsTheClient()
{
    SoftwareUpdateWidget widget(nullptr);
    const auto* bar = child<QProgressBar>(widget, "progressBar");
    const auto* button = child<QPushButton>(widget, "updatePushButton");
    const auto shows = [&](bool busy) {
        return bar->isHidden() != busy && bar->isEnabled() == busy && button->isEnabled() != busy;
    };
    QVERIFY(shows(false));
    for (const auto state : {SoftwareUpdate::eIdle, SoftwareUpdate::eChecking,
                             SoftwareUpdate::eUpdateAvailable, SoftwareUpdate::eError}) {
        for (const bool busyBefore : {false, true}) {
            busyBefore ? widget.enableProgress() : widget.disbaleProgress();
            QVERIFY(shows(busyBefore));
            widget.clientStateChanged(SoftwareUpdate::eChecking, state);
            QVERIFY(shows(state == SoftwareUpdate::eChecking));
        }
    }
}

void tst_SoftwareUpdateWidget::checksTheAddressAsTyped()
{
    SoftwareUpdateWidget widget(nullptr);
    widget.setSettings(someSettings());
    const QSignalSpy spy(&widget, &SoftwareUpdateWidget::checkForUpdate);
    child<QLineEdit>(widget, "updateServerLineEdit")
        ->setText(QStringLiteral("http://127.0.0.1/a b?c=%zz"));
    child<QPushButton>(widget, "updatePushButton")->click();
    QCOMPARE(spy.count(), 1);
    QCOMPARE(spy[0][0].toUrl().toEncoded(), QByteArray("http://127.0.0.1/a%20b?c=%25zz"));
}

void tst_SoftwareUpdateWidget::appliesOnceThenCloses()
{
    SoftwareUpdateDialog dialog(nullptr, Qt::Dialog);
    dialog.updateWidget()->setSettings(someSettings());
    QStringList order;
    connect(dialog.updateWidget(), &SoftwareUpdateWidget::applySettings, this,
            [&](const SoftwareUpdateWidgetSettings& settings) {
                QVERIFY(dialog.isVisible());
                order << QStringLiteral("apply ") + settings.updateServerUrl;
            });
    connect(&dialog, &QDialog::finished, this, [&](int how) { order << QString::number(how); });
    dialog.show();
    child<QDialogButtonBox>(dialog, "buttonBox")->button(QDialogButtonBox::Cancel)->click();
    QCOMPARE(order, QStringList{QStringLiteral("0")});
    dialog.show();
    child<QLineEdit>(dialog, "updateServerLineEdit")->setText(QStringLiteral("x"));
    QTest::keyClick(&dialog, Qt::Key_Return);
    QCOMPARE(order, test::lines("0\napply x\n1"));
    QVERIFY(!dialog.isVisible());
}

void tst_SoftwareUpdateWidget::takesTheSizeOfItsContents()
{
    SoftwareUpdateDialog dialog(nullptr, Qt::Dialog);
    dialog.updateWidget()->setSettings(someSettings());
    dialog.show();
    QVERIFY(QTest::qWaitForWindowExposed(&dialog));
    const QSize plain = dialog.size();
    QCOMPARE(dialog.minimumSize(), dialog.maximumSize());
    QCOMPARE(test::clippedTexts(dialog), QStringList());

    dialog.updateWidget()->setMessage(QStringLiteral("A message of several lines. ").repeated(12));
    QTRY_VERIFY(dialog.height() > plain.height());
    QCOMPARE(test::clippedTexts(dialog), QStringList());
    dialog.updateWidget()->setMessage(QString());
    QTRY_COMPARE(dialog.size(), plain);

    const HeldKeys keys(Qt::ShiftModifier);
    dialog.updateWidget()->initForModifiers();
    QTRY_VERIFY(dialog.height() > plain.height());
    QCOMPARE(dialog.minimumSize(), dialog.maximumSize());
}

void tst_SoftwareUpdateWidget::isReachableByKeyboardAndScreenReader()
{
    const HeldKeys keys(Qt::ShiftModifier);
    SoftwareUpdateDialog dialog(nullptr, Qt::Dialog);
    dialog.show();
    QVERIFY(QTest::qWaitForWindowActive(&dialog));
    child<QWidget>(dialog, "updatePushButton")->setFocus();
    QCOMPARE(test::tabStops(dialog).mid(0, 5),
             test::lines("updatePushButton\nupdateCheckBox\nupdateComboBox\n"
                         "checkForBetaCheckBox\nupdateServerLineEdit"));
    QCOMPARE(test::spokenName(child<QWidget>(dialog, "progressBar")),
             QStringLiteral("Check for updates:"));
    QCOMPARE(test::spokenName(child<QWidget>(dialog, "updateServerLineEdit")),
             QStringLiteral("Update server URL:"));
    // On Unix the name of a combo box is its value; Windows' screen readers are told this one.
    QCOMPARE(child<QWidget>(dialog, "updateComboBox")->accessibleName(),
             QStringLiteral("Check for updates:"));
}

QTEST_MAIN(tst_SoftwareUpdateWidget)
#include "tst_SoftwareUpdateWidget.moc"

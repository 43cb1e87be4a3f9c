#include "ui/SoftwareUpdateAvailableDialog.h"
#include "ui/SoftwareUpdateDialog.h"
#include "ui/SoftwareUpdateTranslator.h"
#include "ui/SoftwareUpdateWidget.h"

#include "tests/support/LogCapture.h"
#include "tests/support/MessageFilter.h"
#include "tests/support/Rows.h"

#include <QAccessible>
#include <QDialogButtonBox>
#include <QLabel>
#include <QLineEdit>
#include <QProgressBar>
#include <QPushButton>
#include <QScrollBar>
#include <QSignalSpy>
#include <QTableWidget>
#include <QTextBrowser>
#include <QWindow>

using namespace zk;
using SoftwareUpdate::SoftUpIndexList;

Q_DECLARE_METATYPE(const QMetaObject*)

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

template <typename Widget = QWidget>
Widget* child(const QWidget& parent, const char* name)
{
    return parent.findChild<Widget*>(QLatin1String(name));
}

bool isHidden(const QWidget& parent, const char* name)
{
    return child(parent, name)->isHidden();
}

/** What a screen reader calls a widget. */
QString spokenName(QWidget* widget)
{
    QAccessibleInterface* const accessible = QAccessible::queryAccessibleInterface(widget);
    return accessible ? accessible->text(QAccessible::Name) : QString();
}

/** The texts in @p window that do not get the space they need. */
QStringList clippedTexts(const QWidget& window)
{
    QStringList result;
    for (const QLabel* label : window.findChildren<QLabel*>()) {
        const int needed = label->wordWrap() ? label->heightForWidth(label->width())
                                             : label->minimumSizeHint().height();
        const bool isNarrow = label->width() < label->minimumSizeHint().width();
        if (label->isVisible() && (isNarrow || label->height() < needed)) {
            result << label->text();
        }
    }
    for (const QPushButton* button : window.findChildren<QPushButton*>()) {
        if (button->isVisible() && button->width() < button->minimumSizeHint().width()) {
            result << button->text();
        }
    }
    return result;
}

/** The widgets that Tab reaches from @p first on, until it comes back. */
QStringList tabStops(QWidget& window, const char* first)
{
    QStringList result;
    child(window, first)->setFocus();
    do {
        if (result.isEmpty() || result.last() != window.focusWidget()->objectName()) {
            result << window.focusWidget()->objectName();
        }
        QTest::keyClick(window.focusWidget(), Qt::Key_Tab);
    } while (window.focusWidget() != child(window, first) && result.size() < 30);
    return result;
}

/** What @p spy was told last, in order. */
QString rows(const QSignalSpy& spy)
{
    QStringList result;
    for (const int row :
         spy.isEmpty() ? SoftUpIndexList() : spy.last()[0].value<SoftUpIndexList>()) {
        result << QString::number(row);
    }
    result.sort();
    return result.join(QLatin1Char(' '));
}

/** The list of updates with three rows and a comment, shown, and what it announces. */
struct Updates
{
    Updates()
    {
        dialog.setTableEntries({row, row, row});
        dialog.setCommentText(QStringLiteral("<b>bold</b> &amp; plain"));
        dialog.show();
    }
    void click(int rowIndex, Qt::KeyboardModifiers modifiers = Qt::NoModifier) const
    {
        const QPoint point = table->visualItemRect(table->item(rowIndex, 1)).center();
        QTest::mouseClick(table->viewport(), Qt::LeftButton, modifiers, point);
    }
    /** The rows last announced as selected, and the one that the button installs. */
    QString selected()
    {
        child<QPushButton>(dialog, "installPushButton")->click();
        return QStringLiteral("%1 -> %2")
            .arg(rows(selections), installs.takeLast().constFirst().toString());
    }

    const QStringList row = test::lines("a\nexe\n12 MB");
    SoftwareUpdateAvailableDialog dialog{nullptr, Qt::Dialog};
    QTableWidget* table = child<QTableWidget>(dialog, "tableWidget");
    QTextBrowser* comment = child<QTextBrowser>(dialog, "commentText");
    QSignalSpy selections{&dialog,
                          SIGNAL(currentItemsChangedSig(const SoftwareUpdate::SoftUpIndexList&))};
    QSignalSpy installs{&dialog, SIGNAL(installPackage(const int))};
};

} // namespace

class tst_Dialogs : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { test::dropOffscreenSizeHintLine(); }

    void publishesMethods_data()
    {
        test::columns<const QMetaObject*, QString>("meta", "methods");
        test::row("settings widget", &SoftwareUpdateWidget::staticMetaObject,
                  "void checkForUpdate(QUrl)\nvoid applySettings(SoftwareUpdateWidgetSettings)\n"
                  "void forceUpdateAvailable()\nvoid enableProgress()\nvoid disbaleProgress()\n"
                  "void setMessage(QString)\nvoid setLastCheckText(QString)\n"
                  "void clientStateChanged(zk::SoftwareUpdate::EState,zk::SoftwareUpdate::EState)\n"
                  "private void emitApplySettings()\nprivate void emitCheckForUpdate()");
        test::row("settings dialog", &SoftwareUpdateDialog::staticMetaObject,
                  "private void standardButtonClicked(QAbstractButton*)");
        test::row("list of updates", &SoftwareUpdateAvailableDialog::staticMetaObject,
                  "void downloadUrls(SoftwareUpdate::SoftUpIndexList)\nvoid installPackage(int)\n"
                  "void currentItemsChangedSig(SoftwareUpdate::SoftUpIndexList)\n"
                  "void downloadReleaseNotes(SoftwareUpdate::SoftUpIndexList)\n"
                  "void showAllLanguages(bool)\nvoid openUpdateSettings()\n"
                  "void linkActivated(QUrl)\nprivate void downloadPackagePressed()\n"
                  "private void installPackagePressed()\nprivate void currentItemsChanged()\n"
                  "private void releaseNotesPressed()\n"
                  "private SoftwareUpdate::SoftUpIndexList getCurrentSelectedItems()\n"
                  "private void showAllLanguagesPressed()");
    }
    void publishesMethods()
    {
        QFETCH(const QMetaObject*, meta);
        QStringList methods;
        for (int i = meta->methodOffset(); i < meta->methodCount(); ++i) {
            const QMetaMethod method = meta->method(i);
            const bool isPrivate = method.access() == QMetaMethod::Private;
            methods << QLatin1String(isPrivate ? "private " : "") +
                           QLatin1String(method.typeName() + QByteArray(" ") +
                                         method.methodSignature());
        }
        QTEST(methods.join(QLatin1Char('\n')), "methods");
    }

    void hidesExpertFields()
    {
        for (const auto modifiers : {Qt::NoModifier, Qt::ShiftModifier, Qt::KeypadModifier}) {
            const HeldKeys keys(modifiers);
            const SoftwareUpdateWidget widget(nullptr);
            for (const char* name :
                 {"checkForBetaCheckBox", "updateServerLabel", "updateServerLineEdit"}) {
                QCOMPARE(isHidden(widget, name), modifiers == Qt::NoModifier);
            }
        }
    }

    void hidesCaptions()
    {
        SoftwareUpdateWidget widget(nullptr);
        const auto shown = [&](const QString& version, const QString& lastCheck) {
            SoftwareUpdateWidgetSettings settings;
            settings.currentVersion = version;
            settings.lastCheck = lastCheck;
            widget.setSettings(settings);
            const SoftwareUpdateWidgetSettings now = widget.getSettings();
            return QStringLiteral("%1 %2, %3 %4")
                .arg(!isHidden(widget, "currentVersionLabel"))
                .arg(now.currentVersion)
                .arg(!isHidden(widget, "lastCheckLabel"))
                .arg(now.lastCheck);
        };
        QCOMPARE(shown(QStringLiteral("4.3"), QStringLiteral("today")),
                 QStringLiteral("1 4.3, 1 today"));
        QCOMPARE(shown(QString(), QString()), QStringLiteral("0 4.3, 0 today"));
        QCOMPARE(shown(QLatin1String(""), QLatin1String("")), QStringLiteral("1 , 0 today"));
    }

    void followsTheClient()
    {
        SoftwareUpdateWidget widget(nullptr);
        const auto* bar = child(widget, "progressBar");
        const auto* button = child(widget, "updatePushButton");
        for (const bool busyBefore : {false, true}) {
            for (const auto state : {SoftwareUpdate::eIdle, SoftwareUpdate::eChecking}) {
                busyBefore ? widget.enableProgress() : widget.disbaleProgress();
                widget.clientStateChanged(SoftwareUpdate::eChecking, state);
                const bool isBusy = state == SoftwareUpdate::eChecking;
                QVERIFY(bar->isHidden() != isBusy && bar->isEnabled() == isBusy);
                QCOMPARE(button->isEnabled(), !isBusy);
            }
        }
    }

    void checksTheAddressAsTyped()
    {
        SoftwareUpdateWidget widget(nullptr);
        const QSignalSpy spy(&widget, &SoftwareUpdateWidget::checkForUpdate);
        child<QLineEdit>(widget, "updateServerLineEdit")
            ->setText(QStringLiteral("http://127.0.0.1/a b?c=%zz"));
        child<QPushButton>(widget, "updatePushButton")->click();
        QCOMPARE(spy.count(), 1);
        QCOMPARE(spy[0][0].toUrl().toEncoded(), QByteArray("http://127.0.0.1/a%20b?c=%25zz"));
    }

    void appliesOnceThenCloses()
    {
        SoftwareUpdateDialog dialog(nullptr, Qt::Dialog);
        QStringList order;
        connect(dialog.updateWidget(), &SoftwareUpdateWidget::applySettings, this,
                [&](const SoftwareUpdateWidgetSettings& settings) {
                    QVERIFY(dialog.isVisible());
                    order << QStringLiteral("apply ") + settings.updateServerUrl;
                });
        connect(&dialog, &QDialog::finished, this, [&](int how) { order << QString::number(how); });
        dialog.show();
        child<QDialogButtonBox>(dialog, "buttonBox")->button(QDialogButtonBox::Cancel)->click();
        dialog.show();
        child<QLineEdit>(dialog, "updateServerLineEdit")->setText(QStringLiteral("x"));
        QTest::keyClick(&dialog, Qt::Key_Return);
        QCOMPARE(order, test::lines("0\napply x\n1"));
        QVERIFY(!dialog.isVisible());
    }

    void takesTheSizeOfItsContents()
    {
        SoftwareUpdateDialog dialog(nullptr, Qt::Dialog);
        dialog.show();
        QVERIFY(QTest::qWaitForWindowExposed(&dialog));
        const QSize plain = dialog.size();
        dialog.updateWidget()->setMessage(QStringLiteral("Several lines of text. ").repeated(12));
        QTRY_VERIFY(dialog.height() > plain.height());
        QCOMPARE(clippedTexts(dialog), QStringList());
        dialog.updateWidget()->setMessage(QString());
        QTRY_COMPARE(dialog.size(), plain);
        const HeldKeys keys(Qt::ShiftModifier);
        dialog.updateWidget()->initForModifiers();
        QTRY_VERIFY(dialog.height() > plain.height());
        QCOMPARE(dialog.minimumSize(), dialog.maximumSize());
    }

    void fillsTheTable()
    {
        Updates u;
        u.dialog.setTableHeaders(u.row);
        u.click(1);
        u.dialog.setHiddenEntries({0});
        u.selections.clear();
        u.dialog.setTableEntries({u.row, u.row + u.row, {QStringLiteral("w")}});
        QCOMPARE(u.selections.count(), 0);
        QVERIFY(u.table->rowCount() == 3 && u.table->columnCount() == 3);
        QCOMPARE(u.table->item(1, 2)->text(), QStringLiteral("12 MB"));
        QVERIFY(!u.table->item(2, 1));
        QVERIFY(!u.table->horizontalHeaderItem(0)); // the client sets them anew
        QVERIFY(!u.table->isRowHidden(0) && u.comment->isHidden());
        QVERIFY(u.table->selectedItems().isEmpty());
        QCOMPARE(u.table->editTriggers(), QAbstractItemView::NoEditTriggers);
    }

    void reportsAnEmptyList()
    {
        Updates u;
        u.click(1);
        u.selections.clear();
        const test::LogCapture log;
        u.dialog.setTableEntries({});
        QCOMPARE(log.lines(Log::eError),
                 QStringList{QStringLiteral("[zk::SoftwareUpdateAvailableDialog::setTableEntries] "
                                            "SoftwareUpdateAvailableDialog::setTableEntries() -> "
                                            "no table entries set!")});
        QVERIFY(u.table->rowCount() == 0 && u.table->columnCount() == 0 && u.comment->isHidden());
        QCOMPARE(u.selections.count(), 0);
        QCOMPARE(u.selected(), QStringLiteral(" -> -1"));
    }

    void installsWhatIsSelected()
    {
        Updates u;
        QCOMPARE(u.selected(), QStringLiteral(" -> -1"));
        u.click(0);
        QCOMPARE(u.selections.count(), 1);
        QCOMPARE(u.selected(), QStringLiteral("0 -> 0"));
        u.click(1, Qt::ControlModifier);
        QCOMPARE(u.selected(), QStringLiteral("0 1 -> 1")); // the current one
        const QSignalSpy downloads(&u.dialog, &SoftwareUpdateAvailableDialog::downloadUrls);
        const QSignalSpy notes(&u.dialog, &SoftwareUpdateAvailableDialog::downloadReleaseNotes);
        child<QPushButton>(u.dialog, "downloadPushButton")->click();
        child<QPushButton>(u.dialog, "releaseNotesPushButton")->click();
        for (const QSignalSpy* spy : {&downloads, &notes}) {
            QCOMPARE(spy->count(), 1);
            QCOMPARE(rows(*spy), QStringLiteral("0 1"));
        }
        u.click(1, Qt::ControlModifier);
        QCOMPARE(u.selected(), QStringLiteral("0 -> 0"));
        QTest::keyClick(u.table, Qt::Key_Down, Qt::ControlModifier); // moves the current row alone
        QCOMPARE(u.table->currentRow(), 1);
        QCOMPARE(u.selected(), QStringLiteral("0 -> 0"));
        u.click(0, Qt::ControlModifier);
        QCOMPARE(u.selected(), QStringLiteral(" -> -1"));
        u.table->selectAll();
        u.click(1, Qt::ControlModifier);
        QCOMPARE(u.selected(), QStringLiteral("0 2 -> -1"));
    }

    void hidesRows()
    {
        Updates u;
        u.click(1);
        u.selections.clear();
        u.dialog.setHiddenEntries({0, 2, 7, -1});
        QVERIFY(u.table->isRowHidden(0) && !u.table->isRowHidden(1) && u.table->isRowHidden(2));
        QCOMPARE(u.selections.count(), 0);
        u.dialog.setHiddenEntries({1});
        QVERIFY(!u.table->isRowHidden(0) && u.table->isRowHidden(1) && !u.table->isRowHidden(2));
        QCOMPARE(u.selections.count(), 1);
        QCOMPARE(u.selected(), QStringLiteral(" -> -1"));
    }

    void showsCommentsAndLeavesTheirLinksToTheHost()
    {
        Updates u;
        QCOMPARE(u.comment->toPlainText(), QStringLiteral("bold & plain"));
        u.dialog.setCommentText(QLatin1String(""));
        QVERIFY(u.comment->isHidden());
        const QSignalSpy links(&u.dialog, &SoftwareUpdateAvailableDialog::linkActivated);
        const QUrl file = QUrl::fromLocalFile(QCoreApplication::applicationFilePath());
        u.dialog.setCommentText(QStringLiteral("<a href=\"%1\">notes</a>").arg(file.toString()));
        QVERIFY(u.comment->isVisible());
        QVERIFY(QTest::qWaitForWindowActive(&u.dialog));
        u.comment->setFocus(Qt::TabFocusReason);
        QTest::keyClick(u.comment, Qt::Key_Tab);
        QTest::keyClick(u.comment, Qt::Key_Return);
        QCOMPARE(links.count(), 1);
        QCOMPARE(links[0][0].toUrl(), file);
        QCOMPARE(u.comment->toPlainText(), QStringLiteral("notes"));
    }

    void reportsEachChangeOnce()
    {
        Updates u;
        const QSignalSpy languages(&u.dialog, &SoftwareUpdateAvailableDialog::showAllLanguages);
        const QSignalSpy settings(&u.dialog, &SoftwareUpdateAvailableDialog::openUpdateSettings);
        for (const bool isOn : {true, false}) {
            child<QAbstractButton>(u.dialog, "showAllLanguagesCheckBox")->click();
            QCOMPARE(u.dialog.getShowAllLanguagesState(), isOn);
            QCOMPARE(languages.last()[0].toBool(), isOn);
        }
        child<QAbstractButton>(u.dialog, "updateSettingsPushButton")->click();
        QVERIFY(languages.count() == 2 && settings.count() == 1);
    }

    void growsToItsTableBeforeItIsShown()
    {
        Updates u;
        u.dialog.hide();
        const QStringList wide = test::lines("A name of a package that is rather long\n12 MB\nexe\n"
                                             "Multilingual\nWin32, Win64");
        u.dialog.setTableEntries({wide, wide, wide, wide, wide, wide});
        u.dialog.setTableHeaders(test::lines("Name\nSize\nType\nLanguages\nPlatforms"));
        u.dialog.show();
        QVERIFY(QTest::qWaitForWindowExposed(&u.dialog));
        QCOMPARE(u.table->horizontalScrollBar()->maximum(), 0);
        QCOMPARE(u.table->verticalScrollBar()->maximum(), 0);

        // A comment takes about four lines and leaves the rest to the table.
        u.dialog.resize(u.dialog.width(), 900);
        u.dialog.setCommentText(QStringLiteral("text"));
        QCoreApplication::sendPostedEvents();
        QVERIFY(u.comment->height() < u.comment->minimumHeight() * 5 / 4);

        // What the user sees keeps its size.
        const QSize shown = u.dialog.size();
        u.dialog.setTableEntries({wide + wide});
        u.dialog.setTableHeaders(wide + wide);
        QTest::qWait(0);
        QCOMPARE(u.dialog.size(), shown);
    }

    void showsEverythingInFull()
    {
        for (const char* language : {"en", "fr", "de"}) {
            SoftwareUpdateTranslator translator;
            if (translator.load(QLocale(QLatin1String(language)))) {
                QCoreApplication::installTranslator(&translator);
            }
            SoftwareUpdateDialog settings(nullptr, Qt::Dialog);
            settings.updateWidget()->setMessage(QCoreApplication::translate(
                "zk::SoftwareUpdateClient", "Timeout error! Update server unreachable!"));
            Updates updates;
            for (QDialog* dialog :
                 {static_cast<QDialog*>(&settings), static_cast<QDialog*>(&updates.dialog)}) {
                dialog->show();
                QVERIFY(QTest::qWaitForWindowExposed(dialog));
                QTRY_VERIFY(dialog->minimumHeight() > 0);
                dialog->resize(dialog->minimumSize());
                QTRY_COMPARE(clippedTexts(*dialog), QStringList());
            }
            QTRY_VERIFY(updates.table->viewport()->height() >= updates.table->rowHeight(0) * 2);
            QVERIFY(updates.comment->viewport()->height() >=
                    updates.comment->fontMetrics().lineSpacing() * 3);
        }
    }

    void isReachableByKeyboardAndScreenReader()
    {
        const HeldKeys keys(Qt::ShiftModifier);
        SoftwareUpdateDialog dialog(nullptr, Qt::Dialog);
        dialog.show();
        QVERIFY(QTest::qWaitForWindowActive(&dialog));
        QCOMPARE(tabStops(dialog, "updatePushButton").mid(0, 5),
                 test::lines("updatePushButton\nupdateCheckBox\nupdateComboBox\n"
                             "checkForBetaCheckBox\nupdateServerLineEdit"));
        QCOMPARE(spokenName(child(dialog, "progressBar")), QStringLiteral("Check for updates:"));
        QCOMPARE(spokenName(child(dialog, "updateServerLineEdit")),
                 QStringLiteral("Update server URL:"));
        // On Unix the name of a combo box is its value; Windows' screen readers are told this one.
        QCOMPARE(child(dialog, "updateComboBox")->accessibleName(),
                 QStringLiteral("Check for updates:"));
        dialog.hide();

        Updates u;
        QVERIFY(QTest::qWaitForWindowActive(&u.dialog));
        QCOMPARE(tabStops(u.dialog, "tableWidget"),
                 test::lines("tableWidget\ncommentText\nshowAllLanguagesCheckBox\n"
                             "releaseNotesPushButton\ndownloadPushButton\ninstallPushButton\n"
                             "zkLinkLabel\nupdateSettingsPushButton"));
        QCOMPARE(spokenName(u.table), QStringLiteral("Select Packages from List:"));
        QCOMPARE(spokenName(u.comment), QStringLiteral("Update Available"));
        QCOMPARE(child<QLabel>(u.dialog, "label_3")->buddy(), u.table);
    }
};

QTEST_MAIN(tst_Dialogs)
#include "tst_Dialogs.moc"

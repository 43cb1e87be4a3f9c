#include "ui/SoftwareUpdateAvailableDialog.h"
#include "ui/SoftwareUpdateDialog.h"
#include "ui/SoftwareUpdateWidget.h"

#include "tests/support/Environment.h"
#include "tests/support/LogCapture.h"
#include "tests/support/Rows.h"

#include <QAccessible>
#include <QComboBox>
#include <QDialogButtonBox>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QSignalSpy>
#include <QTableWidget>
#include <QTextBrowser>
#include <QWindow>

using namespace zk;
using SoftwareUpdate::SoftUpIndexList;

namespace {

template <typename Widget = QWidget>
Widget* child(const QWidget& parent, const char* name)
{
    return parent.findChild<Widget*>(QLatin1String(name));
}

QString spokenName(const QWidget& parent, const char* name)
{
    return QAccessible::queryAccessibleInterface(child(parent, name))->text(QAccessible::Name);
}

/** The names of the widgets that Tab reaches in the active @p window, from @p first on. */
QString tabStops(QWidget& window, QWidget* first)
{
    QStringList names;
    constexpr int patience = 30;
    first->setFocus();
    for (int i = 0; i < patience && (i < 2 || window.focusWidget() != first); ++i) {
        const QString name = window.focusWidget()->objectName();
        if (names.isEmpty() || names.last() != name) {
            names << name;
        }
        QTest::keyClick(window.focusWidget(), Qt::Key_Tab);
    }
    return names.join(u' ');
}

/** What @p spy was told last, in order. */
QString rows(const QSignalSpy& spy)
{
    QStringList result;
    const auto told = spy.isEmpty() ? SoftUpIndexList() : spy.last()[0].value<SoftUpIndexList>();
    for (const int row : told) {
        result << QString::number(row);
    }
    result.sort();
    return result.join(u' ');
}

/** The list of updates with three rows and a comment, shown, and what it announces. */
struct Updates
{
    Updates()
    {
        dialog.setTableEntries({row, row, row});
        dialog.setCommentText(u"<b>bold</b> &amp; plain"_s);
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
        return u"%1 -> %2"_s.arg(rows(selections), installs.takeLast().constFirst().toString());
    }

    const QStringList row = test::lines("a\nexe\n12 MB");
    SoftwareUpdateAvailableDialog dialog{nullptr, Qt::Dialog};
    QTableWidget* table = child<QTableWidget>(dialog, "tableWidget");
    QTextBrowser* comment = child<QTextBrowser>(dialog, "commentText");
    QSignalSpy selections{&dialog, &SoftwareUpdateAvailableDialog::currentItemsChangedSig};
    QSignalSpy installs{&dialog, SIGNAL(installPackage(const int))};
};

} // namespace

class tst_Dialogs : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { test::dropOffscreenSizeHintLine(); }

    void hidesExpertFields()
    {
        QWindow window;
        for (const auto modifiers : {Qt::NoModifier, Qt::ShiftModifier, Qt::KeypadModifier}) {
            // The platform reports the keys that are held.
            QTest::keyPress(&window, Qt::Key_Shift, modifiers);
            const SoftwareUpdateWidget widget(nullptr);
            QTest::keyRelease(&window, Qt::Key_Shift, Qt::NoModifier);
            for (const char* name :
                 {"checkForBetaCheckBox", "updateServerLabel", "updateServerLineEdit"}) {
                QCOMPARE(child(widget, name)->isHidden(), modifiers == Qt::NoModifier);
            }
        }
    }

    void hidesCaptions()
    {
        SoftwareUpdateWidget widget(nullptr);
        const auto shown = [&widget](const QString& version, const QString& lastCheck) {
            SoftwareUpdateWidgetSettings settings;
            settings.currentVersion = version;
            settings.lastCheck = lastCheck;
            widget.setSettings(settings);
            settings = widget.getSettings();
            return u"%1 %2, %3 %4"_s.arg(!child(widget, "currentVersionLabel")->isHidden())
                .arg(settings.currentVersion)
                .arg(!child(widget, "lastCheckLabel")->isHidden())
                .arg(settings.lastCheck);
        };
        QCOMPARE(shown(u"4.3"_s, u"today"_s), u"1 4.3, 1 today"_s);
        QCOMPARE(shown({}, {}), u"0 4.3, 0 today"_s); // null keeps the texts
        QCOMPARE(shown(u""_s, u""_s), u"1 , 0 today"_s);
    }

    void keepsUnknownIntervals()
    {
        for (const int stored : {3, -1, 4}) {
            SoftwareUpdateWidget widget(nullptr);
            auto* const box = child<QComboBox>(widget, "updateComboBox");
            SoftwareUpdateWidgetSettings settings;
            settings.checkInterval = stored;
            widget.setSettings(settings);
            widget.setSettings(widget.getSettings()); // as a check does, with its date
            QCOMPARE(box->currentIndex(), stored == 3 ? 3 : 0);
            QCOMPARE(widget.getSettings().checkInterval, stored);
            QTest::keyClick(box, Qt::Key_End);
            QCOMPARE(widget.getSettings().checkInterval, 3);
            QTest::keyClick(box, Qt::Key_Home); // the one shown for what is unknown
            QCOMPARE(widget.getSettings().checkInterval, 0);
        }
    }

    void checksAsTypedAndAppliesOnce()
    {
        SoftwareUpdateDialog dialog(nullptr, Qt::Dialog);
        QStringList order;
        connect(dialog.updateWidget(), &SoftwareUpdateWidget::checkForUpdate, this,
                [&](const QUrl& url) { order << QString::fromLatin1(url.toEncoded()); });
        connect(dialog.updateWidget(), &SoftwareUpdateWidget::applySettings, this,
                [&](const SoftwareUpdateWidgetSettings& settings) {
                    QVERIFY(dialog.isVisible());
                    order << u"apply "_s + settings.updateServerUrl;
                });
        connect(&dialog, &QDialog::finished, this, [&](int how) { order << QString::number(how); });
        dialog.show();
        child<QLineEdit>(dialog, "updateServerLineEdit")->setText(u" http://h/a b?c=%zz\t"_s);
        child<QPushButton>(dialog, "updatePushButton")->click();
        child<QDialogButtonBox>(dialog, "buttonBox")->button(QDialogButtonBox::Cancel)->click();
        dialog.show();
        QTest::keyClick(&dialog, Qt::Key_Return);
        QCOMPARE(order, test::lines("http://h/a%20b?c=%25zz\n0\napply  http://h/a b?c=%zz\t\n1"));
        QVERIFY(!dialog.isVisible());
    }

    void fillsTheTableAnew()
    {
        const QStringList row = test::lines("a\nb\nc");
        const auto line =
            u"[zk::SoftwareUpdateAvailableDialog::setTableEntries] "
            "SoftwareUpdateAvailableDialog::setTableEntries() -> no table entries set!"_s;
        for (const QList<QStringList>& entries :
             {{row, row + row, {u"w"_s}}, QList<QStringList>()}) {
            Updates u;
            u.dialog.setTableHeaders(u.row);
            u.click(1);
            u.dialog.setHiddenEntries({0});
            u.selections.clear();
            const test::LogCapture log;
            u.dialog.setTableEntries(entries);
            QCOMPARE(log.lines(Log::eError), entries.isEmpty() ? QStringList{line} : QStringList());
            QCOMPARE(u.selections.count(), 0);
            QCOMPARE(u.table->rowCount(), entries.size());
            QCOMPARE(u.table->columnCount(), entries.value(0).size());
            QVERIFY(!u.table->item(2, 1));
            QVERIFY(!u.table->horizontalHeaderItem(0)); // the client sets them anew
            QVERIFY(!u.table->isRowHidden(0) && u.comment->isHidden());
            QCOMPARE(u.selected(), u" -> -1"_s);
        }
    }

    void installsWhatIsSelected()
    {
        Updates u;
        QCOMPARE(u.selected(), u" -> -1"_s);
        u.click(0);
        QCOMPARE(u.selections.count(), 1);
        QCOMPARE(u.selected(), u"0 -> 0"_s);
        u.click(1, Qt::ControlModifier);
        QCOMPARE(u.selected(), u"0 1 -> 1"_s); // the current one
        const QSignalSpy downloads(&u.dialog, &SoftwareUpdateAvailableDialog::downloadUrls);
        const QSignalSpy notes(&u.dialog, &SoftwareUpdateAvailableDialog::downloadReleaseNotes);
        child<QPushButton>(u.dialog, "downloadPushButton")->click();
        child<QPushButton>(u.dialog, "releaseNotesPushButton")->click();
        for (const QSignalSpy* spy : {&downloads, &notes}) {
            QCOMPARE(spy->count(), 1);
            QCOMPARE(rows(*spy), u"0 1"_s);
        }
        u.click(1, Qt::ControlModifier);
        QCOMPARE(u.selected(), u"0 -> 0"_s);
        QTest::keyClick(u.table, Qt::Key_Down, Qt::ControlModifier); // moves the current row alone
        QCOMPARE(u.table->currentRow(), 1);
        QCOMPARE(u.selected(), u"0 -> 0"_s);
        u.click(0, Qt::ControlModifier);
        QCOMPARE(u.selected(), u" -> -1"_s);
        u.table->selectAll();
        u.click(1, Qt::ControlModifier);
        QCOMPARE(u.selected(), u"0 2 -> -1"_s);
    }

    void hidesRows()
    {
        Updates u;
        u.click(1);
        u.selections.clear();
        u.dialog.setHiddenEntries({0, 2, 7, -1});
        QVERIFY(u.table->isRowHidden(0) && !u.table->isRowHidden(1) && u.table->isRowHidden(2));
        u.dialog.setHiddenEntries({0, 2}); // the same rows: announces nothing
        QCOMPARE(u.selections.count(), 1);
        QCOMPARE(rows(u.selections), u"1"_s);
        u.selections.clear();
        u.dialog.setHiddenEntries({1});
        QVERIFY(!u.table->isRowHidden(0) && u.table->isRowHidden(1) && !u.table->isRowHidden(2));
        QCOMPARE(u.selections.count(), 1);
        QCOMPARE(u.selected(), u" -> -1"_s);
    }

    void selectsVisibleRowsOnly()
    {
        Updates u;
        u.dialog.setHiddenEntries({1});
        QTest::keyClick(u.table, Qt::Key_A, Qt::ControlModifier);
        u.dialog.setHiddenEntries({});
        QCOMPARE(rows(u.selections), u"0 2"_s);
        u.dialog.setHiddenEntries({1});
        u.click(0);
        u.click(2, Qt::ShiftModifier); // a range across the hidden row
        u.dialog.setHiddenEntries({});
        QCOMPARE(rows(u.selections), u"0 2"_s);
    }

    void boundsWhateverTextArrives_data()
    {
        test::columns<QString>("text");
        const QString image = u"<img src=\"file://host/share/x.png\">"_s;
        test::row("one word", image + QString(200000, u'W'));
        test::row("words", image + u"word "_s.repeated(40000));
        test::row("lines", image + u"line\n"_s.repeated(40000));
    }
    void boundsWhateverTextArrives()
    {
        QFETCH(const QString, text);
        SoftwareUpdateDialog settings(nullptr, Qt::Dialog);
        SoftwareUpdateWidget* const panel = settings.updateWidget();
        const auto sizeWith = [&](const QString& version, const QString& message) {
            SoftwareUpdateWidgetSettings shown;
            shown.currentVersion = version;
            shown.lastCheck = message;
            panel->setSettings(shown);
            panel->setMessage(message);
            settings.show();
            QCoreApplication::processEvents(); // until the layouts have settled
            return settings.size();
        };
        const QSize usual = sizeWith(u"4.3"_s, u"Wednesday, 4 March"_s);
        const QSize large = sizeWith(text, text);
        QCOMPARE(large.width(), usual.width());
        QVERIFY2(large.height() < usual.height() + 12 * settings.fontMetrics().lineSpacing(),
                 qPrintable(QString::number(large.height())));

        Updates u;
        u.dialog.hide(); // sizes itself while nobody sees it
        const QStringList row{text, text, text, text, text};
        u.dialog.setTableEntries({row});
        u.dialog.setTableHeaders(u.row + u.row);
        QVERIFY(u.dialog.width() <= 900);
        QVERIFY(u.table->columnWidth(0) < 500 && u.table->columnWidth(3) < 500);

        int whole = 0;
        const QList<QLabel*> labels = settings.findChildren<QLabel*>();
        for (const QLabel* label : labels) {
            if (label->text() == text) {
                ++whole;
                QCOMPARE(label->textFormat(), Qt::PlainText);
                const QString tip = label->toolTip();
                QVERIFY(tip.contains(u"&lt;img src"_s) && !tip.contains(u"<img"_s) &&
                        tip.size() < 20000);
            }
        }
        QCOMPARE(whole, 3);
        QCOMPARE(panel->getSettings().currentVersion, text);
    }

    void showsNoReversedNames()
    {
        Updates u;
        const QString name = u"a\u202egpj.exe\u2069"_s;
        u.dialog.setTableEntries({{name}});
        QCOMPARE(u.table->item(0, 0)->text(), u"agpj.exe"_s);
        // A label paints the same with and without them.
        SoftwareUpdateWidget widget(nullptr);
        auto* const label = child<QLabel>(widget, "updateNotificationLabel");
        widget.setMessage(name);
        QCOMPARE(label->text(), name);
        const QImage with = label->grab().toImage();
        widget.setMessage(u"agpj.exe"_s);
        QCOMPARE(label->grab().toImage(), with);
    }

    void showsCommentsAndLeavesTheirLinksToTheHost()
    {
        Updates u;
        QCOMPARE(u.comment->toPlainText(), u"bold & plain"_s);
        u.dialog.setCommentText(u""_s);
        QVERIFY(u.comment->isHidden());
        const QSignalSpy links(&u.dialog, &SoftwareUpdateAvailableDialog::linkActivated);
        const QUrl file = QUrl::fromLocalFile(QCoreApplication::applicationFilePath());
        u.dialog.setCommentText(u"<a href=\"%1\">notes</a>"_s.arg(file.toString()));
        QVERIFY(u.comment->isVisible());
        QVERIFY(QTest::qWaitForWindowActive(&u.dialog));
        u.comment->setFocus(Qt::TabFocusReason);
        QTest::keyClick(u.comment, Qt::Key_Tab);
        QTest::keyClick(u.comment, Qt::Key_Return);
        QCOMPARE(links.count(), 1);
        QCOMPARE(links[0][0].toUrl(), file);
        QCOMPARE(u.comment->toPlainText(), u"notes"_s);
    }

    void reportsTheWishForAllLanguages()
    {
        Updates u;
        const QSignalSpy languages(&u.dialog, &SoftwareUpdateAvailableDialog::showAllLanguages);
        auto* const box = child<QAbstractButton>(u.dialog, "showAllLanguagesCheckBox");
        box->click();
        box->click();
        QCOMPARE(languages, (QList<QVariantList>{{true}, {false}}));
    }

    void leavesRoomForTexts()
    {
        Updates u;
        QVERIFY(QTest::qWaitForWindowExposed(&u.dialog));
        QTRY_VERIFY(u.dialog.minimumHeight() > 0);
        u.dialog.resize(0, 0);
        QTRY_COMPARE(u.dialog.size(), u.dialog.minimumSize());
        QVERIFY(u.dialog.width() >= 550);
        QVERIFY(u.table->viewport()->height() >= u.table->rowHeight(0) * 2);
        QVERIFY(u.comment->viewport()->height() >= u.comment->fontMetrics().lineSpacing() * 3);
        const QList<QLabel*> labels = u.dialog.findChildren<QLabel*>();
        for (const QLabel* label : labels) {
            const int needed = label->wordWrap() ? label->heightForWidth(label->width())
                                                 : label->minimumSizeHint().height();
            QVERIFY2(label->height() >= needed, qPrintable(label->text()));
        }
    }

    void isReachableByKeyboard()
    {
        Updates u;
        QVERIFY(QTest::qWaitForWindowActive(&u.dialog));
        QCOMPARE(tabStops(u.dialog, u.table),
                 u"tableWidget commentText showAllLanguagesCheckBox releaseNotesPushButton "
                 "downloadPushButton installPushButton zkLinkLabel updateSettingsPushButton"_s);
        QCOMPARE(child<QLabel>(u.dialog, "label_3")->buddy(), u.table);
        SoftwareUpdateDialog settings(nullptr, Qt::Dialog);
        settings.show();
        QVERIFY(QTest::qWaitForWindowActive(&settings));
        const QString stops = tabStops(settings, child(settings, "updatePushButton"));
        QCOMPARE(stops.section(u' ', 0, 2), u"updatePushButton updateCheckBox updateComboBox"_s);
    }

    void namesWhatScreenReadersMeet()
    {
        const SoftwareUpdateWidget widget(nullptr);
        QCOMPARE(spokenName(widget, "progressBar"), u"Check for updates:"_s);
        QCOMPARE(spokenName(widget, "updateServerLineEdit"), u"Update server URL:"_s);
        // On Unix the name of a combo box is its value; Windows' screen readers are told this one.
        QCOMPARE(child(widget, "updateComboBox")->accessibleName(), u"Check for updates:"_s);
        const Updates u;
        QCOMPARE(spokenName(u.dialog, "tableWidget"), u"Select Packages from List:"_s);
        QCOMPARE(spokenName(u.dialog, "commentText"), u"Update Available"_s);
    }
};

QTEST_MAIN(tst_Dialogs)
#include "tst_Dialogs.moc"

#include "ui/SoftwareUpdateAvailableDialog.h"

#include "UiTestSupport.h"
#include "tests/support/LogCapture.h"
#include "tests/support/MessageFilter.h"
#include "tests/support/Rows.h"

#include <QCheckBox>
#include <QHeaderView>
#include <QPushButton>
#include <QScrollBar>
#include <QSignalSpy>
#include <QTableWidget>
#include <QTextBrowser>

using namespace zk;
using SoftwareUpdate::SoftUpIndexList;

namespace {

QStringList row(const char* name)
{
    return {QLatin1String(name), QStringLiteral("exe"), QStringLiteral("12 MB")};
}

/** The dialog with three rows, shown, and what it announces. */
struct Fixture
{
    Fixture()
    {
        dialog.setTableEntries({row("a"), row("b"), row("c")});
        dialog.show();
    }
    template <typename Widget>
    Widget* child(const char* name)
    {
        return dialog.findChild<Widget*>(QLatin1String(name));
    }
    void click(const char* button) { child<QAbstractButton>(button)->click(); }
    void clickCell(int rowIndex, Qt::KeyboardModifiers modifiers = Qt::NoModifier) const
    {
        const QPoint point = table->visualItemRect(table->item(rowIndex, 1)).center();
        QTest::mouseClick(table->viewport(), Qt::LeftButton, modifiers, point);
    }
    SoftUpIndexList lastSelection() { return selections.last()[0].value<SoftUpIndexList>(); }
    int installed()
    {
        click("installPushButton");
        return installs.takeLast().constFirst().toInt();
    }

    SoftwareUpdateAvailableDialog dialog{nullptr, Qt::Dialog};
    QTableWidget* table = child<QTableWidget>("tableWidget");
    QTextBrowser* comment = child<QTextBrowser>("commentText");
    QSignalSpy selections{&dialog,
                          SIGNAL(currentItemsChangedSig(const SoftwareUpdate::SoftUpIndexList&))};
    QSignalSpy installs{&dialog, SIGNAL(installPackage(const int))};
};

} // namespace

class tst_SoftwareUpdateAvailableDialog : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { zk::test::dropOffscreenSizeHintLine(); }
    void publishesMethods();
    void fillsTheTable();
    void reportsAnEmptyList();
    void announcesDistinctRows();
    void installsWhatIsSelected();
    void hidesRows();
    void showsComments();
    void neverFollowsLinksItself();
    void reportsButtons();
    void leavesRoomForTexts();
    void growsToItsTableBeforeItIsShown();
    void isReachableByKeyboardAndScreenReader();
};

void tst_SoftwareUpdateAvailableDialog::publishesMethods()
{
    const QStringList methods =
        test::lines("signal downloadUrls(SoftwareUpdate::SoftUpIndexList)\n"
                    "signal installPackage(int)\n"
                    "signal currentItemsChangedSig(SoftwareUpdate::SoftUpIndexList)\n"
                    "signal downloadReleaseNotes(SoftwareUpdate::SoftUpIndexList)\n"
                    "signal showAllLanguages(bool)\nsignal openUpdateSettings()\n"
                    "signal linkActivated(QUrl)\nprivate slot downloadPackagePressed()\n"
                    "private slot installPackagePressed()\nprivate slot currentItemsChanged()\n"
                    "private slot releaseNotesPressed()\nprivate slot getCurrentSelectedItems()\n"
                    "private slot showAllLanguagesPressed()");
    const QMetaObject& metaObject = SoftwareUpdateAvailableDialog::staticMetaObject;
    QCOMPARE(test::publishedMethods(metaObject), methods);
    const int index = metaObject.indexOfMethod("getCurrentSelectedItems()");
    QCOMPARE(QByteArray(metaObject.method(index).typeName()),
             QByteArray("SoftwareUpdate::SoftUpIndexList"));
}

void tst_SoftwareUpdateAvailableDialog::fillsTheTable()
{
    Fixture f;
    f.dialog.setTableHeaders(test::lines("Name\nType\nSize"));
    f.clickCell(1);
    f.dialog.setHiddenEntries({0});
    f.selections.clear();

    f.dialog.setTableEntries({row("x"), row("y") + row("z"), {QStringLiteral("w")}});
    QCOMPARE(f.selections.count(), 0);
    QCOMPARE(f.table->rowCount(), 3);
    QCOMPARE(f.table->columnCount(), 3);
    QCOMPARE(f.table->item(1, 2)->text(), QStringLiteral("12 MB"));
    QVERIFY(!f.table->item(2, 1));
    QVERIFY(!f.table->horizontalHeaderItem(0)); // the client sets them anew
    QVERIFY(!f.table->isRowHidden(0));
    QVERIFY(f.table->selectedItems().isEmpty());
    QVERIFY(f.table->verticalHeader()->isHidden());
    QVERIFY(f.table->horizontalHeader()->stretchLastSection());

    QTest::mouseDClick(f.table->viewport(), Qt::LeftButton, Qt::NoModifier,
                       f.table->visualItemRect(f.table->item(0, 0)).center());
    QVERIFY(!f.table->findChild<QWidget*>(QStringLiteral("qt_editing_window")));
    QVERIFY(!f.table->isPersistentEditorOpen(f.table->item(0, 0)));
    QCOMPARE(f.table->editTriggers(), QAbstractItemView::NoEditTriggers);
}

void tst_SoftwareUpdateAvailableDialog::reportsAnEmptyList()
{
    Fixture f;
    f.dialog.setTableHeaders({QStringLiteral("Name")});
    f.dialog.setCommentText(QStringLiteral("text"));
    f.clickCell(1);
    f.selections.clear();
    const test::LogCapture log;
    f.dialog.setTableEntries({});
    QCOMPARE(log.lines(Log::eError),
             QStringList{QStringLiteral("[zk::SoftwareUpdateAvailableDialog::setTableEntries] "
                                        "SoftwareUpdateAvailableDialog::setTableEntries() -> "
                                        "no table entries set!")});
    QCOMPARE(f.table->rowCount(), 0);
    QCOMPARE(f.table->columnCount(), 0);
    QVERIFY(f.comment->isHidden() && f.comment->toPlainText().isEmpty());
    QCOMPARE(f.selections.count(), 0);
    QCOMPARE(f.installed(), -1);
}

void tst_SoftwareUpdateAvailableDialog::announcesDistinctRows()
{
    Fixture f;
    QSignalSpy downloads(&f.dialog, SIGNAL(downloadUrls(const SoftwareUpdate::SoftUpIndexList&)));
    QSignalSpy notes(&f.dialog,
                     SIGNAL(downloadReleaseNotes(const SoftwareUpdate::SoftUpIndexList&)));
    f.clickCell(2);
    QCOMPARE(f.lastSelection(), SoftUpIndexList{2});
    f.clickCell(0, Qt::ControlModifier);
    const SoftUpIndexList both = f.lastSelection();
    QCOMPARE(both.size(), 2);
    QVERIFY(both.contains(0) && both.contains(2));
    f.click("downloadPushButton");
    f.click("releaseNotesPushButton");
    QCOMPARE(downloads.takeFirst().constFirst().value<SoftUpIndexList>(), both);
    QCOMPARE(notes.takeFirst().constFirst().value<SoftUpIndexList>(), both);
}

void tst_SoftwareUpdateAvailableDialog::installsWhatIsSelected()
{
    Fixture f;
    QCOMPARE(f.installed(), -1);
    f.clickCell(0);
    QCOMPARE(f.installed(), 0);

    f.clickCell(1, Qt::ControlModifier);
    QCOMPARE(f.installed(), 1); // both are selected, this one is current
    f.clickCell(1, Qt::ControlModifier);
    QCOMPARE(f.lastSelection(), SoftUpIndexList{0});
    QCOMPARE(f.table->currentRow(), 0);
    QCOMPARE(f.installed(), 0);

    QTest::keyClick(f.table, Qt::Key_Down, Qt::ControlModifier); // moves the current row alone
    QCOMPARE(f.table->currentRow(), 1);
    QCOMPARE(f.installed(), 0);

    f.clickCell(0, Qt::ControlModifier);
    QCOMPARE(f.lastSelection(), SoftUpIndexList());
    QCOMPARE(f.installed(), -1);

    f.table->selectAll();
    f.clickCell(1, Qt::ControlModifier);
    QCOMPARE(f.lastSelection().size(), 2);
    QCOMPARE(f.installed(), -1);
}

void tst_SoftwareUpdateAvailableDialog::hidesRows()
{
    Fixture f;
    f.clickCell(1);
    f.selections.clear();
    f.dialog.setHiddenEntries({0, 2, 7, -1});
    QVERIFY(f.table->isRowHidden(0) && !f.table->isRowHidden(1) && f.table->isRowHidden(2));
    QCOMPARE(f.selections.count(), 0);
    f.dialog.setHiddenEntries({1});
    QVERIFY(!f.table->isRowHidden(0) && f.table->isRowHidden(1) && !f.table->isRowHidden(2));
    QCOMPARE(f.selections.count(), 1);
    QCOMPARE(f.lastSelection(), SoftUpIndexList());
    QCOMPARE(f.installed(), -1);
    f.dialog.setHiddenEntries({});
    QVERIFY(!f.table->isRowHidden(1));
}

void tst_SoftwareUpdateAvailableDialog::showsComments()
{
    Fixture f;
    QVERIFY(f.comment->isHidden());
    f.dialog.setCommentText(QStringLiteral("<b>bold</b> &amp; plain"));
    QVERIFY(f.comment->isVisible());
    QCOMPARE(f.comment->toPlainText(), QStringLiteral("bold & plain"));
    f.dialog.setCommentText(QLatin1String(""));
    QVERIFY(f.comment->isHidden());
    f.dialog.setCommentText(QStringLiteral("again"));
    f.dialog.setTableEntries({row("a")});
    QVERIFY(f.comment->isHidden());
}

void tst_SoftwareUpdateAvailableDialog::neverFollowsLinksItself()
{
    Fixture f;
    QVERIFY(f.comment->openExternalLinks());
    const QSignalSpy links(&f.dialog, &SoftwareUpdateAvailableDialog::linkActivated);
    const QUrl file = QUrl::fromLocalFile(QCoreApplication::applicationFilePath());
    f.dialog.setCommentText(QStringLiteral("<a href=\"%1\">notes</a>").arg(file.toString()));
    QVERIFY(QTest::qWaitForWindowActive(&f.dialog));
    f.comment->setFocus(Qt::TabFocusReason);
    QTest::keyClick(f.comment, Qt::Key_Tab);
    QTest::keyClick(f.comment, Qt::Key_Return);
    QCOMPARE(links.count(), 1);
    QCOMPARE(links[0][0].toUrl(), file);
    QCOMPARE(f.comment->toPlainText(), QStringLiteral("notes"));
}

void tst_SoftwareUpdateAvailableDialog::reportsButtons()
{
    Fixture f;
    QVERIFY(f.child<QPushButton>("installPushButton")->isDefault());
    f.dialog.setDownloadButtonState(false);
    f.dialog.setRealeaseNotesButtonState(false);
    QVERIFY(!f.child<QWidget>("downloadPushButton")->isEnabled());
    QVERIFY(!f.child<QWidget>("releaseNotesPushButton")->isEnabled());
    QVERIFY(f.child<QWidget>("installPushButton")->isEnabled());
    f.dialog.setInstallButtonState(false);
    QVERIFY(!f.child<QWidget>("installPushButton")->isEnabled());

    const QSignalSpy languages(&f.dialog, &SoftwareUpdateAvailableDialog::showAllLanguages);
    const QSignalSpy settings(&f.dialog, &SoftwareUpdateAvailableDialog::openUpdateSettings);
    QVERIFY(!f.dialog.getShowAllLanguagesState());
    f.click("showAllLanguagesCheckBox");
    QVERIFY(f.dialog.getShowAllLanguagesState());
    f.click("showAllLanguagesCheckBox");
    QCOMPARE(languages.count(), 2);
    QVERIFY(languages[0][0].toBool() && !languages[1][0].toBool());
    f.click("updateSettingsPushButton");
    QCOMPARE(settings.count(), 1);
}

void tst_SoftwareUpdateAvailableDialog::leavesRoomForTexts()
{
    Fixture f;
    f.dialog.setCommentText(QStringLiteral("text"));
    QVERIFY(QTest::qWaitForWindowExposed(&f.dialog));
    QTRY_VERIFY(f.dialog.minimumHeight() > 0);
    f.dialog.resize(0, 0);
    QTRY_COMPARE(f.dialog.size(), f.dialog.minimumSize());
    QVERIFY(f.dialog.width() >= 550);
    QCOMPARE(test::clippedTexts(f.dialog), QStringList());
    QVERIFY(f.table->viewport()->height() >= f.table->rowHeight(0) * 2);
    QVERIFY(f.comment->viewport()->height() >= f.comment->fontMetrics().lineSpacing() * 3);
}

void tst_SoftwareUpdateAvailableDialog::growsToItsTableBeforeItIsShown()
{
    const QStringList wide = test::lines(
        "A name of a package that is rather long\n12 MB\nexe\nMultilingual\nWin32, Win64");
    const QStringList headers = test::lines("Name\nSize\nType\nLanguages\nPlatforms");
    Fixture fixture;
    fixture.dialog.hide();
    fixture.dialog.setTableEntries({wide, wide, wide, wide, wide, wide});
    fixture.dialog.setTableHeaders(headers);
    fixture.dialog.show();
    QVERIFY(QTest::qWaitForWindowExposed(&fixture.dialog));
    QCOMPARE(fixture.table->horizontalScrollBar()->maximum(), 0);
    QCOMPARE(fixture.table->verticalScrollBar()->maximum(), 0);

    // A comment takes about four lines and leaves the rest to the table.
    fixture.dialog.resize(fixture.dialog.width(), 900);
    fixture.dialog.setCommentText(QStringLiteral("text"));
    QCoreApplication::sendPostedEvents();
    QVERIFY(fixture.comment->height() < fixture.comment->minimumHeight() * 5 / 4);

    // What the user sees keeps its size.
    const QSize shown = fixture.dialog.size();
    fixture.dialog.setTableEntries({wide + headers});
    fixture.dialog.setTableHeaders(headers + wide);
    QTest::qWait(0);
    QCOMPARE(fixture.dialog.size(), shown);
}

void tst_SoftwareUpdateAvailableDialog::isReachableByKeyboardAndScreenReader()
{
    Fixture f;
    f.dialog.setCommentText(QStringLiteral("text"));
    QVERIFY(QTest::qWaitForWindowActive(&f.dialog));
    f.table->setFocus();
    QCOMPARE(test::tabStops(f.dialog),
             test::lines("tableWidget\ncommentText\nshowAllLanguagesCheckBox\n"
                         "releaseNotesPushButton\ndownloadPushButton\ninstallPushButton\n"
                         "zkLinkLabel\nupdateSettingsPushButton"));
    QCOMPARE(test::spokenName(f.table), QStringLiteral("Select Packages from List:"));
    QCOMPARE(test::spokenName(f.comment), QStringLiteral("Update Available"));
    QCOMPARE(f.child<QLabel>("label_3")->buddy(), f.table);
}

QTEST_MAIN(tst_SoftwareUpdateAvailableDialog)
#include "tst_SoftwareUpdateAvailableDialog.moc"

#include "ui/SoftwareUpdateAvailableDialog.h"

#include "support/Connect.h"
#include "support/DisplayText.h"
#include "support/Log.h"
#include "ui_SoftwareUpdateAvailableGui.h"

#include <QEvent>
#include <QItemSelectionModel>
#include <QScreen>
#include <QScrollBar>
#include <QSet>
#include <QSignalBlocker>

namespace zk {

namespace {

using Form = Ui::SoftwareUpdateAvailableGui;

constexpr int s_minimumWidth = 550;
constexpr int s_widestGrowth = 900;
constexpr int s_widestColumnInCharacters = 36;
constexpr int s_longestCell = 1000;

void reserveSpace(const Form& form)
{
    // Otherwise the comment of a package would leave no row of the table visible.
    QTableWidget* const table = form.tableWidget;
    table->setMinimumHeight(table->horizontalHeader()->sizeHint().height() +
                            3 * table->verticalHeader()->defaultSectionSize() +
                            table->horizontalScrollBar()->sizeHint().height() +
                            2 * table->frameWidth());
    // Four lines, each with a pixel for rounding.
    QTextBrowser* const comment = form.commentText;
    comment->setMinimumHeight(4 * (comment->fontMetrics().lineSpacing() + 1) +
                              2 * int(comment->document()->documentMargin()) +
                              2 * comment->frameWidth());
    // And initially no more: the splitter would give it half of the table's space.
    comment->setSizeAdjustPolicy(QAbstractScrollArea::AdjustToContents);
    form.splitter->setChildrenCollapsible(false);
    form.splitter->setStretchFactor(0, 1);
}

void fitMinimumSize(QDialog& dialog)
{
    // By default the layout counts one line for each wrapped text, and cuts off the others.
    const int width = qMax(s_minimumWidth, dialog.layout()->totalMinimumSize().width());
    const int height = dialog.layout()->minimumHeightForWidth(qMax(width, dialog.width()));
    dialog.setMinimumSize(QSize(width, height).boundedTo(dialog.screen()->availableSize()));
}

void fitColumns(QTableWidget& table)
{
    table.resizeColumnsToContents();
    const int widest = s_widestColumnInCharacters * table.fontMetrics().averageCharWidth();
    for (int column = 0; column + 1 < table.columnCount(); ++column) {
        table.setColumnWidth(column, qMin(table.columnWidth(column), widest));
    }
}

void growToTable(QDialog& dialog, const QTableWidget& table)
{
    // Keep a size that the user has seen and perhaps chosen.
    if (dialog.isVisible()) {
        return;
    }
    constexpr int mostRows = 10;
    const QMargins margins = dialog.layout()->contentsMargins();
    const int frame = 2 * table.frameWidth();
    const int width = table.horizontalHeader()->length() +
                      table.verticalScrollBar()->sizeHint().width() + frame + margins.left() +
                      margins.right();
    const int tableHeight =
        table.horizontalHeader()->sizeHint().height() +
        qMin(table.rowCount(), mostRows) * table.verticalHeader()->defaultSectionSize() + frame;
    const int height = dialog.sizeHint().height() - table.sizeHint().height() + tableHeight;
    const QSize most = (dialog.screen()->availableSize() * 0.9).boundedTo({s_widestGrowth, height});
    dialog.resize(dialog.size().expandedTo(QSize(width, height).boundedTo(most)));
}

// Select All and ranges include hidden rows, which would then be part of the selection once shown.
bool deselectHiddenRows(const QTableWidget& table)
{
    QItemSelection hidden;
    int first = -1;
    for (int row = 0; row <= table.rowCount(); ++row) {
        const bool isWanted = row < table.rowCount() && table.isRowHidden(row) &&
                              table.selectionModel()->isRowSelected(row, QModelIndex());
        if (isWanted && first < 0) {
            first = row;
        } else if (!isWanted && first >= 0) {
            // One range for neighbours: the model takes quadratic time in their number.
            hidden.select(table.model()->index(first, 0), table.model()->index(row - 1, 0));
            first = -1;
        }
    }
    if (hidden.isEmpty()) {
        return false;
    }
    table.selectionModel()->select(hidden,
                                   QItemSelectionModel::Deselect | QItemSelectionModel::Rows);
    return true;
}

} // namespace

SoftwareUpdateAvailableDialog::SoftwareUpdateAvailableDialog(QWidget* parent, Qt::WindowFlags flags)
    : QDialog(parent, flags)
    , m_form(std::make_unique<Ui::SoftwareUpdateAvailableGui>())
{
    m_form->setupUi(this);
    zk::connect(m_form->downloadPushButton, SIGNAL(clicked()), this, SLOT(downloadPackagePressed()),
                Qt::AutoConnection);
    zk::connect(m_form->installPushButton, SIGNAL(clicked()), this, SLOT(installPackagePressed()),
                Qt::AutoConnection);
    zk::connect(m_form->releaseNotesPushButton, SIGNAL(clicked()), this,
                SLOT(releaseNotesPressed()), Qt::AutoConnection);
    zk::connect(m_form->tableWidget, SIGNAL(itemSelectionChanged()), this,
                SLOT(currentItemsChanged()), Qt::AutoConnection);
    zk::connect(m_form->showAllLanguagesCheckBox, SIGNAL(clicked()), this,
                SLOT(showAllLanguagesPressed()), Qt::AutoConnection);
    zk::connect(m_form->updateSettingsPushButton, SIGNAL(clicked()), this,
                SIGNAL(openUpdateSettings()), Qt::AutoConnection);
    connect(m_form->commentText, &QTextBrowser::anchorClicked, this,
            &SoftwareUpdateAvailableDialog::linkActivated);
    m_form->tableWidget->setEditTriggers(QAbstractItemView::NoEditTriggers);
    m_form->installPushButton->setDefault(true);
    m_form->installPushButton->setAutoDefault(true);
    reserveSpace(*m_form);
    adjustSize();
    m_form->commentText->hide();
}

SoftwareUpdateAvailableDialog::~SoftwareUpdateAvailableDialog() = default;

bool SoftwareUpdateAvailableDialog::event(QEvent* event)
{
    const bool done = QDialog::event(event);
    if (event->type() == QEvent::LayoutRequest || event->type() == QEvent::Resize) {
        fitMinimumSize(*this);
    }
    return done;
}

void SoftwareUpdateAvailableDialog::setTableHeaders(const QStringList& headers)
{
    m_form->tableWidget->setHorizontalHeaderLabels(headers);
    fitColumns(*m_form->tableWidget);
    growToTable(*this, *m_form->tableWidget);
}

void SoftwareUpdateAvailableDialog::setTableEntries(const QList<QStringList>& rows)
{
    QTableWidget* const table = m_form->tableWidget;
    const QSignalBlocker blocker(table);
    table->clear();
    // Removing the rows also resets which are hidden.
    table->setRowCount(0);
    table->setColumnCount(0);
    setCommentText(QString());
    if (rows.isEmpty()) {
        SOFTWAREUPDATE_LOG(
            Log::eError, "zk::SoftwareUpdateAvailableDialog::setTableEntries",
            "SoftwareUpdateAvailableDialog::setTableEntries() -> no table entries set!");
        return;
    }

    table->setRowCount(rows.size());
    table->setColumnCount(rows.first().size());
    table->verticalHeader()->hide();
    table->setSortingEnabled(false);
    for (int row = 0; row < rows.size(); ++row) {
        const QStringList& cells = rows[row];
        const int columns = qMin(cells.size(), table->columnCount());
        for (int column = 0; column < columns; ++column) {
            table->setItem(row, column,
                           new QTableWidgetItem(displayText(cells[column], s_longestCell)));
        }
    }
    fitColumns(*table);
    table->horizontalHeader()->setHighlightSections(false);
    table->horizontalHeader()->setSortIndicatorShown(false);
    table->horizontalHeader()->setStretchLastSection(true);
}

// NOLINTNEXTLINE(performance-unnecessary-value-param): the signature is published
void SoftwareUpdateAvailableDialog::setHiddenEntries(QList<int> rows)
{
    QTableWidget* const table = m_form->tableWidget;
    const QSet<int> hidden(rows.cbegin(), rows.cend());
    // Read first: the table leaves hidden rows out of its selected items.
    const SoftwareUpdate::SoftUpIndexList selected = getCurrentSelectedItems();
    bool isChanged = false;
    for (int row = 0; row < table->rowCount(); ++row) {
        isChanged |= table->isRowHidden(row) != hidden.contains(row);
        table->setRowHidden(row, hidden.contains(row));
    }
    if (hidden.intersects(QSet<int>(selected.cbegin(), selected.cend()))) {
        // An invisible row must not be installed. The selection model emits the change.
        table->selectionModel()->clear();
    } else if (isChanged) {
        emit currentItemsChangedSig(selected);
    }
}

void SoftwareUpdateAvailableDialog::setCommentText(const QString& text)
{
    m_form->commentText->setText(text);
    m_form->commentText->setVisible(!text.isEmpty());
}

void SoftwareUpdateAvailableDialog::setDownloadButtonState(bool enabled)
{
    m_form->downloadPushButton->setEnabled(enabled);
}

void SoftwareUpdateAvailableDialog::setInstallButtonState(bool enabled)
{
    m_form->installPushButton->setEnabled(enabled);
}

void SoftwareUpdateAvailableDialog::setRealeaseNotesButtonState(bool enabled)
{
    m_form->releaseNotesPushButton->setEnabled(enabled);
}

bool SoftwareUpdateAvailableDialog::getShowAllLanguagesState()
{
    return m_form->showAllLanguagesCheckBox->isChecked();
}

void SoftwareUpdateAvailableDialog::downloadPackagePressed()
{
    emit downloadUrls(getCurrentSelectedItems());
}

void SoftwareUpdateAvailableDialog::installPackagePressed()
{
    // The current row can move without the selection (Ctrl with the arrow keys or a click), but the
    // dialog must install the package that it describes.
    const SoftwareUpdate::SoftUpIndexList selected = getCurrentSelectedItems();
    if (selected.size() == 1) {
        emit installPackage(selected.first());
        return;
    }
    const int current = m_form->tableWidget->currentRow();
    emit installPackage(selected.contains(current) ? current : -1);
}

void SoftwareUpdateAvailableDialog::currentItemsChanged()
{
    if (deselectHiddenRows(*m_form->tableWidget)) {
        return; // the selection model has called this slot again
    }
    const SoftwareUpdate::SoftUpIndexList selected = getCurrentSelectedItems();
    QTableWidget* const table = m_form->tableWidget;
    if (selected.size() == 1 && table->currentRow() != selected.first()) {
        const int column = qMax(0, table->currentColumn());
        table->selectionModel()->setCurrentIndex(table->model()->index(selected.first(), column),
                                                 QItemSelectionModel::NoUpdate);
    }
    emit currentItemsChangedSig(selected);
}

void SoftwareUpdateAvailableDialog::releaseNotesPressed()
{
    emit downloadReleaseNotes(getCurrentSelectedItems());
}

SoftwareUpdate::SoftUpIndexList SoftwareUpdateAvailableDialog::getCurrentSelectedItems()
{
    SoftwareUpdate::SoftUpIndexList rows;
    QSet<int> seen;
    const QList<QTableWidgetItem*> items = m_form->tableWidget->selectedItems();
    for (const QTableWidgetItem* item : items) {
        const int row = item->row();
        if (!seen.contains(row)) {
            seen.insert(row);
            rows.append(row);
        }
    }
    return rows;
}

void SoftwareUpdateAvailableDialog::showAllLanguagesPressed()
{
    emit showAllLanguages(m_form->showAllLanguagesCheckBox->isChecked());
}

} // namespace zk

#include "ui/SoftwareUpdateAvailableDialog.h"

#include "support/Connect.h"
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

constexpr int s_minimumWidth = 550;

} // namespace

SoftwareUpdateAvailableDialog::SoftwareUpdateAvailableDialog(QWidget* parent, Qt::WindowFlags flags)
    : QDialog(parent, flags)
    , m_form(std::make_unique<Ui::SoftwareUpdateAvailableGui>())
{
    m_form->setupUi(this);
    connectForm();
    m_form->tableWidget->setEditTriggers(QAbstractItemView::NoEditTriggers);
    m_form->installPushButton->setDefault(true);
    m_form->installPushButton->setAutoDefault(true);
    reserveSpace();
    adjustSize();
    m_form->commentText->hide();
}

SoftwareUpdateAvailableDialog::~SoftwareUpdateAvailableDialog() = default;

bool SoftwareUpdateAvailableDialog::event(QEvent* event)
{
    const bool done = QDialog::event(event);
    if (event->type() == QEvent::LayoutRequest || event->type() == QEvent::Resize) {
        fitMinimumSize();
    }
    return done;
}

void SoftwareUpdateAvailableDialog::reserveSpace()
{
    // Without this the comment of a package would leave no row of the table to be seen.
    QTableWidget* const table = m_form->tableWidget;
    table->setMinimumHeight(table->horizontalHeader()->sizeHint().height() +
                            3 * table->verticalHeader()->defaultSectionSize() +
                            table->horizontalScrollBar()->sizeHint().height() +
                            2 * table->frameWidth());
    // Four lines, with a pixel each for rounding.
    QTextBrowser* const comment = m_form->commentText;
    comment->setMinimumHeight(4 * (comment->fontMetrics().lineSpacing() + 1) +
                              2 * int(comment->document()->documentMargin()) +
                              2 * comment->frameWidth());
    // And no more than that at first: the splitter would give it half of the table's space.
    comment->setSizeAdjustPolicy(QAbstractScrollArea::AdjustToContents);
    m_form->splitter->setChildrenCollapsible(false);
    m_form->splitter->setStretchFactor(0, 1);
}

void SoftwareUpdateAvailableDialog::fitMinimumSize()
{
    // Left alone, the layout would count one line for each wrapped text, and cut off the others.
    const int width = qMax(s_minimumWidth, layout()->totalMinimumSize().width());
    setMinimumSize(width, layout()->minimumHeightForWidth(qMax(width, this->width())));
}

void SoftwareUpdateAvailableDialog::connectForm()
{
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
}

void SoftwareUpdateAvailableDialog::setTableHeaders(const QStringList& headers)
{
    m_form->tableWidget->setHorizontalHeaderLabels(headers);
    m_form->tableWidget->resizeColumnsToContents();
    growToTable();
}

void SoftwareUpdateAvailableDialog::growToTable()
{
    // A size that the user has seen, and perhaps chosen, stays.
    if (isVisible()) {
        return;
    }
    constexpr int mostRows = 10;
    const QTableWidget* const table = m_form->tableWidget;
    const QMargins margins = layout()->contentsMargins();
    const int frame = 2 * table->frameWidth();
    const int width = table->horizontalHeader()->length() +
                      table->verticalScrollBar()->sizeHint().width() + frame + margins.left() +
                      margins.right();
    const int tableHeight =
        table->horizontalHeader()->sizeHint().height() +
        qMin(table->rowCount(), mostRows) * table->verticalHeader()->defaultSectionSize() + frame;
    const int height = sizeHint().height() - table->sizeHint().height() + tableHeight;
    const QSize available = screen()->availableSize() * 0.9;
    resize(size().expandedTo(QSize(width, height).boundedTo(available)));
}

void SoftwareUpdateAvailableDialog::setTableEntries(const QList<QStringList>& rows)
{
    QTableWidget* const table = m_form->tableWidget;
    const QSignalBlocker blocker(table);
    table->clear();
    // Rows that are taken away forget that they were hidden.
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
            table->setItem(row, column, new QTableWidgetItem(cells[column]));
        }
    }
    table->resizeColumnsToContents();
    table->horizontalHeader()->setHighlightSections(false);
    table->horizontalHeader()->setSortIndicatorShown(false);
    table->horizontalHeader()->setStretchLastSection(true);
}

// NOLINTNEXTLINE(performance-unnecessary-value-param): the signature is published
void SoftwareUpdateAvailableDialog::setHiddenEntries(QList<int> rows)
{
    QTableWidget* const table = m_form->tableWidget;
    const QSet<int> hidden(rows.cbegin(), rows.cend());
    // Asked first: the table leaves hidden rows out of its selected items.
    const SoftwareUpdate::SoftUpIndexList selected = getCurrentSelectedItems();
    for (int row = 0; row < table->rowCount(); ++row) {
        table->setRowHidden(row, hidden.contains(row));
    }
    if (hidden.intersects(QSet<int>(selected.cbegin(), selected.cend()))) {
        // Nobody should install what he cannot see.
        table->selectionModel()->clear();
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
    // The current row moves without the selection (Ctrl with the arrow keys or a click), and what
    // is installed must be what the dialog describes.
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

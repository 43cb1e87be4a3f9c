#include "demo/PackageDialog.h"

#include "demo/VisibleWindow.h"

#include "ui/SoftwareUpdateAvailableDialog.h"

#include <QTableWidget>

namespace demo {

QTableWidget* packageTable()
{
    auto* const dialog = visibleWindow<zk::SoftwareUpdateAvailableDialog>();
    return dialog ? dialog->findChild<QTableWidget*>() : nullptr;
}

bool hasRows()
{
    const QTableWidget* const table = packageTable();
    return table && table->rowCount() > 0;
}

void selectRows(QTableWidget* table, const QStringList& types)
{
    constexpr int typeColumn = 2;
    table->clearSelection();
    for (const QString& type : types) {
        for (int row = 0; row < table->rowCount(); ++row) {
            const QTableWidgetItem* const item = table->item(row, typeColumn);
            if (item->text() == type && !table->isRowHidden(row) && !item->isSelected()) {
                table->selectionModel()->select(table->model()->index(row, 0),
                                                QItemSelectionModel::Select |
                                                    QItemSelectionModel::Rows);
                table->selectionModel()->setCurrentIndex(table->model()->index(row, 0),
                                                         QItemSelectionModel::NoUpdate);
                break;
            }
        }
    }
}

QAbstractButton* answerButton(const QMessageBox& box, bool isAccepted)
{
    const QList<QAbstractButton*> buttons = box.buttons();
    for (QAbstractButton* const button : buttons) {
        if ((box.buttonRole(button) == QMessageBox::AcceptRole) == isAccepted) {
            return button;
        }
    }
    return nullptr;
}

} // namespace demo

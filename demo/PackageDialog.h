#pragma once

#include <QMessageBox>
#include <QStringList>

class QTableWidget;

namespace demo {

// Operates the library's dialogs in place of a user.

/** The table of the visible update-available dialog; null if there is none. */
QTableWidget* packageTable();
/** Whether there is such a table and it has rows. */
bool hasRows();
/** Selects only the first visible row of each of the file @p types. */
void selectRows(QTableWidget* table, const QStringList& types);
/** The accepting or the rejecting button of @p box. */
QAbstractButton* answerButton(const QMessageBox& box, bool isAccepted);

} // namespace demo

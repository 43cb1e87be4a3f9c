#pragma once

#include <QMessageBox>
#include <QStringList>

class QTableWidget;

namespace demo {

// What a user does in the library's dialogs, done by the program.

/** The table of the visible update-available dialog; null when none is visible. */
QTableWidget* packageTable();
/** Whether such a table is there and has rows. */
bool hasRows();
/** Selects for each of @p types the first visible row with that file type, and nothing else. */
void selectRows(QTableWidget* table, const QStringList& types);
/** The button of @p box that accepts, or the one that does not. */
QAbstractButton* answerButton(const QMessageBox& box, bool isAccepted);

} // namespace demo

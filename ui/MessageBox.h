#pragma once

#include <QMessageBox>

namespace zk {

/**
 * Executes @p box, which must be on the heap, and deletes it. Returns the index of the pressed
 * button, or -1 when the box was destroyed under its own event loop, as happens when its parent
 * goes. What else there was before the call may be gone, too.
 */
int execMessageBox(QMessageBox* box);

} // namespace zk

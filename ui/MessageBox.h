#pragma once

#include <QMessageBox>

namespace zk {

/**
 * Executes @p box, which must be on the heap, and deletes it. Its text is plain unless the caller
 * has chosen another format. Returns the index of the pressed button, or -1 if the box was
 * destroyed while it was open, e.g. together with its parent. Any other object may have been
 * destroyed as well by then.
 */
int execMessageBox(QMessageBox* box);

} // namespace zk

#pragma once

#include "support/Export.h"

#include <Qt>

class QWidget;

namespace zk {

/**
 * Window flags of the library's dialogs: a title bar with a close button and no "What's this?"
 * button.
 * @p resizable adds the maximise button, for windows that a user may want to enlarge.
 */
SOFTWAREUPDATE_EXPORT Qt::WindowFlags dialogFlags(bool resizable);

/**
 * Flags of a message box over @p parent: a sheet if there is a parent, otherwise a plain dialog.
 */
SOFTWAREUPDATE_EXPORT Qt::WindowFlags sheetDialogFlags(QWidget* parent);

} // namespace zk

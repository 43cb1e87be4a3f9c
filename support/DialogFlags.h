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

/** Flags of a box that is shown over @p parent: a sheet where there is a parent, a plain dialog
 * else. */
SOFTWAREUPDATE_EXPORT Qt::WindowFlags sheetDialogFlags(QWidget* parent);

} // namespace zk

#include "support/DialogFlags.h"

namespace zk {

Qt::WindowFlags dialogFlags(bool resizable)
{
    Qt::WindowFlags flags = Qt::Dialog | Qt::CustomizeWindowHint | Qt::WindowTitleHint |
                            Qt::WindowSystemMenuHint | Qt::WindowCloseButtonHint;
    if (resizable) {
        flags |= Qt::WindowMaximizeButtonHint;
    }
    return flags;
}

Qt::WindowFlags sheetDialogFlags(QWidget* parent)
{
    // A sheet without a parent window would have no frame and no title.
    return parent ? dialogFlags(false) | Qt::Sheet : dialogFlags(false);
}

} // namespace zk

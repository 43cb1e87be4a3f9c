#include "ui/MessageBox.h"

#include <QPointer>

namespace zk {

int execMessageBox(QMessageBox* box)
{
    const QPointer<QMessageBox> guard(box);
    const int pressed = box->exec();
    if (!guard) {
        return -1;
    }
    delete box;
    return pressed;
}

} // namespace zk

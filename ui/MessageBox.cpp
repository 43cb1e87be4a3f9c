#include "ui/MessageBox.h"

#include <QPointer>

namespace zk {

int execMessageBox(QMessageBox* box)
{
    // Texts may come from a server or a file, and Qt would interpret them as HTML.
    if (box->textFormat() == Qt::AutoText) {
        box->setTextFormat(Qt::PlainText);
    }
    const QPointer<QMessageBox> guard(box);
    const int pressed = box->exec();
    if (!guard) {
        return -1;
    }
    delete box;
    return pressed;
}

} // namespace zk

#include "support/CoreApplication.h"

#include <QCoreApplication>

namespace zk {

QString CoreApplication::applicationVersion()
{
    return QCoreApplication::applicationVersion();
}

} // namespace zk

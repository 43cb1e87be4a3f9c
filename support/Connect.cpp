#include "support/Connect.h"

namespace zk {

bool connect(const QObject* sender, const char* signal, const QObject* receiver, const char* method,
             Qt::ConnectionType type)
{
    return bool(QObject::connect(sender, signal, receiver, method, type));
}

} // namespace zk

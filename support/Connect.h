#pragma once

#include "support/Export.h"

#include <QObject>

namespace zk {

/**
 * QObject::connect with SIGNAL()/SLOT() texts that returns whether the connection was made.
 *
 * For connections whose signatures are fixed as texts. A failure is reported by Qt's own warning
 * and by the result.
 */
SOFTWAREUPDATE_EXPORT bool connect(const QObject* sender, const char* signal,
                                   const QObject* receiver, const char* method,
                                   Qt::ConnectionType type);

} // namespace zk

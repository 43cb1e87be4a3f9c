#pragma once

#include "support/Export.h"

#include <QString>

namespace zk {

/** Facts about the running host application. */
class SOFTWAREUPDATE_EXPORT CoreApplication
{
public:
    /** The host's version text, as the host gave it to QCoreApplication::setApplicationVersion().
     */
    static QString applicationVersion();
};

} // namespace zk

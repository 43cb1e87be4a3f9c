#pragma once

#include "support/Export.h"

#include <QString>

namespace zk {

/** Facts about the running host application. */
class SOFTWAREUPDATE_EXPORT CoreApplication
{
public:
    /** The host's version, as set with QCoreApplication::setApplicationVersion(). */
    static QString applicationVersion();
};

} // namespace zk

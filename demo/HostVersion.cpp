#include "demo/HostVersion.h"

namespace demo {

QString hostVersion()
{
    return QStringLiteral(CAMERA_DESK_VERSION);
}

} // namespace demo

#pragma once

#include <QString>

namespace demo {

/** The version of this program. */
QString hostVersion();

} // namespace demo

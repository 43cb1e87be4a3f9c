#pragma once

#include <QString>

namespace demo {

/** The version that this program was built as. */
QString hostVersion();

} // namespace demo

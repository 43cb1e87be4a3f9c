#pragma once

#include <QString>

namespace zk {

/**
 * Whether Windows takes the file name @p name for a device, e.g. "con", "NUL .txt" or "com1.zip":
 * neither the extension nor blanks in front of it make a difference. @p name has no folders.
 */
bool isDeviceName(const QString& name);

} // namespace zk

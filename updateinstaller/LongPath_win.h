#pragma once

#include "updateinstaller/FileSystem.h"

namespace updateinstaller {

/** The form in which Windows takes paths of any length and changes nothing about them. */
[[nodiscard]] std::wstring longForm(const Path& path);

} // namespace updateinstaller

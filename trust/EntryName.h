#pragma once

#include <string_view>

namespace trust {

/**
 * Whether Windows takes the file name @p name for a device, e.g. "con", "NUL .txt" or "com1.zip":
 * neither the extension nor blanks in front of it make a difference. @p name has no folders.
 */
[[nodiscard]] bool isDeviceName(std::string_view name);

/**
 * Why an entry with this name must not be unpacked on any platform; empty if it may.
 *
 * Refused are absolute paths, "..", drives, shares, streams and devices, characters that Windows
 * does not allow in file names, and names that are too long or nested too deeply. @p name is UTF-8
 * with "/" as separator; the name of a folder may end with "/".
 */
[[nodiscard]] std::string_view entryNameComplaint(std::string_view name);

/** Whether @p text is valid UTF-8 (RFC 3629). */
[[nodiscard]] bool isUtf8(std::string_view text);

} // namespace trust

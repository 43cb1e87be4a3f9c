#pragma once

#include <chrono>
#include <functional>
#include <system_error>

namespace updateinstaller {

/**
 * Calls @p attempt until it answers anything but an error that may pass (isTransient()), with
 * growing pauses and for @p patience at most. Answers what the last attempt answered.
 */
[[nodiscard]] std::error_code retry(std::chrono::milliseconds patience,
                                    const std::function<std::error_code()>& attempt);

/** The same for any error: where giving up would leave the user without an application. */
[[nodiscard]] std::error_code insist(std::chrono::milliseconds patience,
                                     const std::function<std::error_code()>& attempt);

} // namespace updateinstaller

#pragma once

#include <chrono>
#include <functional>
#include <system_error>

namespace updateinstaller {

/**
 * Calls @p attempt, with back-off, as long as it returns a transient error (isTransient()), for @p
 * patience at most. Returns the result of the last attempt.
 */
[[nodiscard]] std::error_code retry(std::chrono::milliseconds patience,
                                    const std::function<std::error_code()>& attempt);

/** The same for any error, where giving up would leave the user without an application. */
[[nodiscard]] std::error_code insist(std::chrono::milliseconds patience,
                                     const std::function<std::error_code()>& attempt);

} // namespace updateinstaller

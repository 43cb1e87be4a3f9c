#include "updateinstaller/Retry.h"

#include "updateinstaller/FileSystem.h"

#include <algorithm>
#include <thread>

namespace updateinstaller {

namespace {

std::error_code repeat(std::chrono::milliseconds patience, bool (*isWorthwhile)(std::error_code),
                       const std::function<std::error_code()>& attempt)
{
    using Clock = std::chrono::steady_clock;
    constexpr std::chrono::milliseconds longestPause(500);

    const auto end = Clock::now() + patience;
    std::chrono::milliseconds pause(10);
    for (;;) {
        const std::error_code error = attempt();
        if (!isWorthwhile(error) || Clock::now() >= end) {
            return error;
        }
        std::this_thread::sleep_for(pause);
        pause = std::min(pause * 2, longestPause);
    }
}

} // namespace

std::error_code retry(std::chrono::milliseconds patience,
                      const std::function<std::error_code()>& attempt)
{
    return repeat(patience, &isTransient, attempt);
}

std::error_code insist(std::chrono::milliseconds patience,
                       const std::function<std::error_code()>& attempt)
{
    return repeat(
        patience, [](std::error_code error) { return static_cast<bool>(error); }, attempt);
}

} // namespace updateinstaller

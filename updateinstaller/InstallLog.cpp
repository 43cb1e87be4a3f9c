#include "updateinstaller/InstallLog.h"

#include "updateinstaller/Process.h"

#include <chrono>
#include <cstdio>
#include <ctime>

namespace updateinstaller {

namespace {

constexpr std::uint64_t largestFile = 1 << 20;

std::string prefix()
{
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    const auto milliseconds =
        std::chrono::duration_cast<std::chrono::milliseconds>(now).count() % 1000;
    const std::time_t seconds = std::chrono::duration_cast<std::chrono::seconds>(now).count();
    // Safe: there is one thread.
    const std::tm* const utc = std::gmtime(&seconds); // NOLINT(concurrency-mt-unsafe)
    char date[32] = "";
    char text[64] = "";
    if (utc && std::strftime(date, sizeof date, "%Y-%m-%dT%H:%M:%S", utc) > 0) {
        std::snprintf(text, sizeof text, "%s.%03dZ [%lu] ", date, static_cast<int>(milliseconds),
                      processId());
    }
    return text;
}

} // namespace

void InstallLog::setFolder(const Path& folder)
{
    m_file = folder / "UpdateInstaller.log";
}

void InstallLog::write(const std::string& text)
{
    const std::string line = prefix() + text + '\n';
    if (m_file.empty()) {
        std::fputs(line.c_str(), stderr);
        return;
    }
    if (m_isRotating && sizeOf(m_file) + line.size() > largestFile) {
        Path previous = m_file;
        previous += ".1";
        // A log that cannot be rotated keeps growing.
        (void)replaceFile(m_file, previous);
    }
    if (appendToFile(m_file, line)) {
        std::fputs(line.c_str(), stderr);
    }
}

void InstallLog::write(const std::string& text, std::error_code error)
{
    write(text + ": " + error.message() + " (" + std::to_string(error.value()) + ")");
}

} // namespace updateinstaller

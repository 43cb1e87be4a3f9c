#pragma once

#include "support/Export.h"
#include "support/Mutex.h"

#include <QString>

#include <array>
#include <atomic>
#include <ostream>
#include <string>

namespace zk {

/** Widens an 8-bit (Latin-1) text; null gives an empty one. */
SOFTWAREUPDATE_EXPORT std::wstring tconvert(const char* text);

/** Writes a QString to a wide stream. */
SOFTWAREUPDATE_EXPORT std::wostream& operator<<(std::wostream& stream, const QString& text);

/**
 * The process-wide logger: one wide stream per level and a threshold.
 *
 * Nothing is written until the host gives a level its stream. Streams belong to the host: it keeps
 * them alive until it has set another one (or null). A wide file stream in the "C" locale cannot
 * write anything beyond ASCII; imbue it with a UTF-8 locale or facet first.
 *
 * Usable from any thread at any time, before main() and after it too.
 */
class SOFTWAREUPDATE_EXPORT Log
{
public:
    /** What a line is about; eOff is above all of them. */
    enum ELevel { eTrace = 0, eInfo = 1, eWarning = 2, eError = 3, eOff = 4 };

    Log(const Log&) = delete;
    Log& operator=(const Log&) = delete;

    /** The one log; made on the first call, and never destroyed. */
    static Log& instance();

    /** The stream of @p level, null when that level is not logged at all. */
    [[nodiscard]] std::wostream* getStream(ELevel level) const;
    /** Gives @p level its stream (null: not logged). Waits for a line that is being written. */
    void setStream(ELevel level, std::wostream* stream);

    /** A line of level L is written only if logLevel() <= L. eInfo at the start. */
    [[nodiscard]] ELevel logLevel() const;
    /** @p level is the lowest that is written from now on; eOff silences all. */
    void setLogLevel(ELevel level);

    /** Whether a line of @p level would be written now: one load and one comparison. */
    [[nodiscard]] static bool isEnabled(ELevel level)
    {
        return (s_enabledLevels.load(std::memory_order_relaxed) & (1U << unsigned(level))) != 0;
    }

    /** Appends the line prefix to @p line and returns it: ISO time with milliseconds, level,
     * thread. */
    const std::wstring& pre(ELevel level, std::wstring& line) const;

    /** Serialises all writes to the streams. */
    Mutex& mutex();

private:
    Log() = default;
    void updateEnabledLevels();

    static std::atomic<unsigned> s_enabledLevels;

    mutable Mutex m_mutex;
    std::array<std::atomic<std::wostream*>, eOff> m_streams{};
    std::atomic<ELevel> m_level{eInfo};
};

/** One line for the log while it is being written: prefix out, lock held, format flags kept. */
class SOFTWAREUPDATE_EXPORT LogLine
{
public:
    /** Begins the line with the prefix and "[function] "; waits for other threads' lines. */
    LogLine(Log::ELevel level, const char* function);
    ~LogLine();
    LogLine(const LogLine&) = delete;
    LogLine& operator=(const LogLine&) = delete;

    /** Appends what a wide stream makes of @p value. A failing stream is mended; throws nothing. */
    template <typename Value>
    LogLine& operator<<(const Value& value)
    {
        if (m_stream) {
            try {
                *m_stream << value;
            } catch (...) {
                mend();
            }
        }
        return *this;
    }

private:
    void mend() noexcept;

    std::wstring m_prefix;
    MutexLocker m_locker;
    std::wostream* m_stream;
    std::ios_base::fmtflags m_flags{};
};

/** Writes one line of already evaluated @p values; use it through SOFTWAREUPDATE_LOG. */
template <typename... Values>
void writeLogLine(Log::ELevel level, const char* function, const Values&... values)
{
    LogLine line(level, function);
    (line << ... << values);
}

} // namespace zk

/**
 * Writes one log line: the level's prefix, "[function] ", then the values one after the other.
 *
 * @p function is the fully qualified name, e.g. "zk::DownloadManager::parseXML". The values are not
 * even evaluated when the level is off; a stream that fails or throws never disturbs the caller.
 */
#define SOFTWAREUPDATE_LOG(level, function, ...)                                                   \
    do {                                                                                           \
        if (zk::Log::isEnabled(level)) {                                                           \
            zk::writeLogLine(level, function, __VA_ARGS__);                                        \
        }                                                                                          \
    } while (false)

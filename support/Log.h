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
 * The process-wide logger: one wide stream per level, and a threshold.
 *
 * Nothing is written until the host sets a stream for a level. Streams are owned by the host, which
 * keeps them alive until it has set another one (or null). A wide file stream in the "C" locale
 * cannot write characters beyond ASCII; imbue it with a UTF-8 locale or facet first.
 *
 * Thread-safe; may be used before main() and after it.
 */
class SOFTWAREUPDATE_EXPORT Log
{
public:
    /** Severity of a line; eOff is above all of them. */
    enum ELevel { eTrace = 0, eInfo = 1, eWarning = 2, eError = 3, eOff = 4 };

    Log(const Log&) = delete;
    Log& operator=(const Log&) = delete;

    /** The only instance; created on the first call and never destroyed. */
    static Log& instance();

    /** The stream of @p level; null if that level is not logged. */
    [[nodiscard]] std::wostream* getStream(ELevel level) const;
    /** Sets the stream of @p level (null: not logged). Waits for a line that is being written. */
    void setStream(ELevel level, std::wostream* stream);

    /** A line of level L is written only if logLevel() <= L. eInfo at the start. */
    [[nodiscard]] ELevel logLevel() const;
    /** @p level becomes the lowest that is written; eOff disables all. */
    void setLogLevel(ELevel level);

    /** Whether a line of @p level would be written now: one load and one comparison. */
    [[nodiscard]] static bool isEnabled(ELevel level);

    /** Appends the line prefix to @p line and returns it: ISO time with milliseconds, level,
     * thread. */
    const std::wstring& pre(ELevel level, std::wstring& line) const;

    /** Serialises all writes to the streams. */
    Mutex& mutex();

private:
    Log() = default;

    mutable Mutex m_mutex;
    std::array<std::atomic<std::wostream*>, eOff> m_streams{};
    std::atomic<ELevel> m_level{eInfo};
};

/**
 * One log line while it is being written: holds the lock and restores the stream's format flags.
 */
class SOFTWAREUPDATE_EXPORT LogLine
{
public:
    /** Writes the prefix and "[function] "; waits for lines of other threads. */
    LogLine(Log::ELevel level, const char* function);
    ~LogLine();
    LogLine(const LogLine&) = delete;
    LogLine& operator=(const LogLine&) = delete;

    /** Writes @p value as a wide stream formats it. Resets a failed stream; never throws. */
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
    // Inline because operator<< calls it in the host's code.
    void mend() noexcept
    {
        try {
            m_stream->clear();
        } catch (...) {
            // clear() throws only while badbit stays set because there is no buffer to write to.
            m_stream = nullptr;
        }
    }

    std::wstring m_prefix;
    MutexLocker m_locker;
    std::wostream* m_stream;
    std::ios_base::fmtflags m_flags{};
};

/** Writes one line of @p values; use it through SOFTWAREUPDATE_LOG. */
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
 * evaluated if the level is off; a stream that fails or throws does not affect the caller.
 */
#define SOFTWAREUPDATE_LOG(level, function, ...)                                                   \
    do {                                                                                           \
        if (zk::Log::isEnabled(level)) {                                                           \
            zk::writeLogLine(level, function, __VA_ARGS__);                                        \
        }                                                                                          \
    } while (false)

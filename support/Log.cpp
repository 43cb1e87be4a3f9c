#include "support/Log.h"

#include <QDateTime>
#include <QThread>

#include <ostream>

namespace zk {

namespace {

/** One bit per level: it has a stream and is not below the threshold. */
std::atomic<unsigned> s_enabledLevels{0};

template <typename Streams>
void updateEnabledLevels(const Streams& streams, Log::ELevel threshold)
{
    unsigned enabled = 0;
    for (unsigned level = Log::eTrace; level < Log::eOff; ++level) {
        if (streams[level].load() && unsigned(threshold) <= level) {
            enabled |= 1U << level;
        }
    }
    s_enabledLevels = enabled;
}

} // namespace

bool Log::isEnabled(ELevel level)
{
    return (s_enabledLevels.load(std::memory_order_relaxed) & (1U << unsigned(level))) != 0;
}

std::wstring tconvert(const char* text)
{
    return text ? QString::fromLatin1(text).toStdWString() : std::wstring();
}

std::wostream& operator<<(std::wostream& stream, const QString& text)
{
    return stream << text.toStdWString();
}

Log& Log::instance()
{
    // Never destroyed: static destructors of the host may still log.
    static Log* const log = new Log;
    return *log;
}

std::wostream* Log::getStream(ELevel level) const
{
    return level >= eTrace && level < eOff ? m_streams[level].load() : nullptr;
}

void Log::setStream(ELevel level, std::wostream* stream)
{
    if (level < eTrace || level >= eOff) {
        return;
    }
    const MutexLocker locker(m_mutex, true);
    m_streams[level] = stream;
    updateEnabledLevels(m_streams, m_level);
}

Log::ELevel Log::logLevel() const
{
    return m_level;
}

void Log::setLogLevel(ELevel level)
{
    const MutexLocker locker(m_mutex, true);
    m_level = level;
    updateEnabledLevels(m_streams, m_level);
}

namespace {

/**
 * The text "2026-11-21T11:28:00" of one second. A destructor would keep the library from being
 * unloaded.
 */
struct SecondText
{
    qint64 second = -1;
    std::array<wchar_t, 32> text{};
    size_t size = 0;
};

// Formatting the time costs more than the rest of a line, and lines come in bursts.
void appendTime(std::wstring& line)
{
    thread_local SecondText last;
    const qint64 now = QDateTime::currentMSecsSinceEpoch();
    if (last.second != now / 1000) {
        const std::wstring text =
            QDateTime::fromMSecsSinceEpoch(now).toString(Qt::ISODate).left(31).toStdWString();
        last.second = now / 1000;
        last.size = text.copy(last.text.data(), last.text.size());
    }
    const int milliseconds = int(now % 1000);
    line.append(last.text.data(), last.size);
    line += L'.';
    for (const int digit : {milliseconds / 100, milliseconds / 10 % 10, milliseconds % 10}) {
        line += wchar_t(L'0' + digit);
    }
}

} // namespace

const std::wstring& Log::pre(ELevel level, std::wstring& line) const
{
    static const wchar_t* const words[] = {L"TRACE", L"INFO", L"WARNING", L"ERROR"};
    appendTime(line);
    line += L' ';
    line += level >= eTrace && level < eOff ? words[level] : L"OFF";
    line += L" 0x";
    line += QString::number(quintptr(QThread::currentThreadId()), 16).toStdWString();
    line += L' ';
    return line;
}

Mutex& Log::mutex()
{
    return m_mutex;
}

namespace {

std::wstring linePrefix(Log::ELevel level, const char* function)
{
    std::wstring prefix;
    Log::instance().pre(level, prefix);
    return prefix.append(L"[").append(tconvert(function)).append(L"] ");
}

} // namespace

LogLine::LogLine(Log::ELevel level, const char* function)
    : m_prefix(linePrefix(level, function))
    , m_locker(Log::instance().mutex(), true)
    , m_stream(Log::instance().getStream(level))
{
    if (m_stream) {
        m_flags = m_stream->flags();
        *this << m_prefix;
    }
}

LogLine::~LogLine()
{
    if (!m_stream) {
        return;
    }
    try {
        *m_stream << std::endl;
    } catch (...) {
        mend();
    }
    m_stream->flags(m_flags);
    // A stream that has met a character it cannot write would discard everything from then on.
    mend();
}

} // namespace zk

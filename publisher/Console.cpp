#include "publisher/Console.h"

#include <cstdio>

#ifdef Q_OS_WIN
#include <io.h>
#include <windows.h>
#else
#include <unistd.h>
#endif

namespace publisher {

namespace {

#ifdef Q_OS_WIN
/** Whether the terminal supports colours; older ones show the escape codes. */
bool isTerminal(std::FILE* stream, DWORD number)
{
    DWORD mode = 0;
    const HANDLE handle = ::GetStdHandle(number);
    return ::_isatty(::_fileno(stream)) && ::GetConsoleMode(handle, &mode) &&
           ::SetConsoleMode(handle, mode | ENABLE_VIRTUAL_TERMINAL_PROCESSING);
}
#endif

void write(std::FILE* stream, const QString& text)
{
    const QByteArray bytes = text.toUtf8();
    std::fwrite(bytes.constData(), 1, size_t(bytes.size()), stream);
    std::fflush(stream);
}

} // namespace

#ifdef Q_OS_WIN
Console::Console()
    : m_isOutTerminal(isTerminal(stdout, STD_OUTPUT_HANDLE))
    , m_isErrorTerminal(isTerminal(stderr, STD_ERROR_HANDLE))
{
    ::SetConsoleOutputCP(CP_UTF8);
}
#else
Console::Console()
    : m_isOutTerminal(::isatty(STDOUT_FILENO) != 0)
    , m_isErrorTerminal(::isatty(STDERR_FILENO) != 0)
{
}
#endif

void Console::print(const QString& line) const
{
    write(stdout, line + QLatin1Char('\n'));
}

void Console::complain(const QString& line) const
{
    write(stderr, line + QLatin1Char('\n'));
}

QString Console::coloured(const QString& text, Colour colour) const
{
    // https://no-color.org
    const bool isWanted = m_isOutTerminal && qEnvironmentVariableIsEmpty("NO_COLOR");
    return isWanted ? QStringLiteral("\x1b[%1m%2\x1b[0m").arg(int(colour)).arg(text) : text;
}

void Console::progress(const QString& label, qint64 done, qint64 total)
{
    constexpr qint64 mebibyte = 1024LL * 1024;
    const int percent = int(total > 0 ? 100 * done / total : done / mebibyte);
    if (!m_isErrorTerminal || percent == m_shown) {
        return;
    }
    m_shown = percent;
    constexpr int width = 40;
    const int filled = qBound(0, percent * width / 100, width);
    const QString bar = total > 0 ? QStringLiteral("[%1%2] %3 %")
                                        .arg(QString(filled, QLatin1Char('#')),
                                             QString(width - filled, QLatin1Char(' ')))
                                        .arg(percent, 3)
                                  : QStringLiteral("%1 MiB").arg(percent);
    write(stderr, QStringLiteral("\r\x1b[K%1 %2").arg(label, bar));
}

void Console::endProgress()
{
    if (m_shown >= 0) {
        write(stderr, QStringLiteral("\r\x1b[K"));
    }
    m_shown = -1;
}

} // namespace publisher

#include "publisher/Password.h"

#include <cstdio>
#include <sodium.h>
#include <windows.h>

namespace publisher {

std::optional<QByteArray> askPassword(const QString& question)
{
    const HANDLE input = ::GetStdHandle(STD_INPUT_HANDLE);
    DWORD shown = 0;
    if (!::GetConsoleMode(input, &shown)) {
        return std::nullopt;
    }
    std::fputs(qPrintable(question), stderr);
    ::SetConsoleMode(input, shown & ~DWORD(ENABLE_ECHO_INPUT));
    wchar_t line[1024] = L"";
    DWORD length = 0;
    const BOOL isRead = ::ReadConsoleW(input, line, 1023, &length, nullptr);
    ::SetConsoleMode(input, shown);
    std::fputc('\n', stderr);
    if (!isRead) {
        return std::nullopt;
    }
    QString text = QString::fromWCharArray(line, int(length));
    sodium_memzero(line, sizeof line);
    text = std::move(text).trimmed(); // in place
    const QByteArray password = text.toUtf8();
    sodium_memzero(text.data(), std::size_t(text.size()) * sizeof(QChar));
    return password;
}

} // namespace publisher

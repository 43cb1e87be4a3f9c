#include "publisher/Password.h"

#include <cstdio>
#include <sodium.h>
#include <termios.h>
#include <unistd.h>

namespace publisher {

std::optional<QByteArray> askPassword(const QString& question)
{
    termios shown{};
    if (::tcgetattr(STDIN_FILENO, &shown) != 0) {
        return std::nullopt;
    }
    std::fputs(qPrintable(question), stderr);
    termios hidden = shown;
    hidden.c_lflag &= ~tcflag_t(ECHO);
    ::tcsetattr(STDIN_FILENO, TCSAFLUSH, &hidden);
    char line[1024] = "";
    const bool isRead = std::fgets(line, sizeof line, stdin) != nullptr;
    ::tcsetattr(STDIN_FILENO, TCSAFLUSH, &shown);
    std::fputc('\n', stderr);
    auto password = isRead ? std::optional(QByteArray(line).trimmed()) : std::nullopt;
    sodium_memzero(line, sizeof line);
    return password;
}

} // namespace publisher

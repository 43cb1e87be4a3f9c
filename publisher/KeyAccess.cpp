#include "publisher/KeyAccess.h"

#include "publisher/CommandLine.h"
#include "publisher/Console.h"
#include "publisher/Files.h"
#include "publisher/Password.h"

namespace publisher {

QCommandLineOption passwordOption()
{
    return QCommandLineOption(QStringLiteral("password-file"),
                              QStringLiteral("Take the key's password from the first line of a "
                                             "file instead of asking for it."),
                              QStringLiteral("file"));
}

std::optional<QByteArray> readPassword(const CommandLine& line, const QString& question,
                                       const Console& console)
{
    const QString path = line.value(QStringLiteral("password-file"));
    if (path.isEmpty()) {
        auto password = askPassword(question);
        if (!password) {
            console.complain(QStringLiteral("there is no terminal to ask for the password: use "
                                            "--password-file"));
        }
        return password;
    }
    auto text = readFile(path, console);
    if (!text) {
        return std::nullopt;
    }
    const Wiper wiper(*text);
    const int end = text->indexOf('\n');
    QByteArray password(text->constData(), end < 0 ? text->size() : end);
    return std::move(password).trimmed(); // in place
}

std::optional<SecretKey> readKey(const CommandLine& line, const QString& path,
                                 const Console& console)
{
    auto text = readFile(path, console);
    if (!text) {
        return std::nullopt;
    }
    const Wiper textWiper(*text);
    QByteArray password;
    const Wiper passwordWiper(password);
    if (SecretKey::isEncrypted(*text)) {
        const auto given =
            readPassword(line, QStringLiteral("Password of %1: ").arg(path), console);
        if (!given) {
            return std::nullopt;
        }
        password = *given; // shared, and wiped with it
    }
    auto key = SecretKey::decode(*text, password);
    if (const auto* const error = std::get_if<QString>(&key)) {
        console.complain(QStringLiteral("%1: %2").arg(path, *error));
        return std::nullopt;
    }
    return std::move(std::get<SecretKey>(key));
}

} // namespace publisher

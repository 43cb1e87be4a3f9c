#include "publisher/CommandLine.h"
#include "publisher/Commands.h"
#include "publisher/Files.h"
#include "publisher/KeyAccess.h"

#include <QFile>

namespace publisher {

namespace {

constexpr char secretSuffix[] = ".key";
constexpr char publicSuffix[] = ".pub";

int makeKeys(const QString& name, const QByteArray& password, const Console& console)
{
    const SecretKey key = SecretKey::generate();
    QByteArray secret = key.encode(password);
    const Wiper wiper(secret);
    if (secret.isEmpty()) {
        console.complain(QStringLiteral("there is not enough memory to protect it"));
        return eFailed;
    }
    const QString secretPath = name + QLatin1String(secretSuffix);
    const QString publicPath = name + QLatin1String(publicSuffix);
    if (!writeFile(secretPath, secret, console, Readers::eOwner) ||
        !writeFile(publicPath, key.publicKeyFile(), console)) {
        return eFailed;
    }
    console.print(QStringLiteral("written: %1 and %2").arg(secretPath, publicPath));
    console.print(QStringLiteral("for setPackagePublicKeys(): ") +
                  QString::fromLatin1(key.publicKey()));
    return eFine;
}

} // namespace

int keysCommand(const QStringList& arguments, Console& console)
{
    CommandLine line(QStringLiteral("Makes a pair of keys: NAME.key signs packages and stays with "
                                    "you, NAME.pub goes into the host."),
                     {QStringLiteral("keys camera-desk")});
    line.addPositionalArgument(QStringLiteral("name"), QStringLiteral("How the files begin."));
    const QCommandLineOption unprotected(
        QStringLiteral("no-password"),
        QStringLiteral("Leave the key as readable as its file, for machines that sign alone."));
    line.addOptions({passwordOption(), unprotected});
    if (const auto code = line.read(arguments, 1, 1, console)) {
        return *code;
    }
    const QString name = line.positionalArguments().constFirst();
    const QString secretPath = name + QLatin1String(secretSuffix);
    if (QFile::exists(secretPath)) {
        console.complain(QStringLiteral("%1 exists: without the old key nothing can be signed "
                                        "that hosts accept")
                             .arg(secretPath));
        return eFailed;
    }
    QByteArray password;
    const Wiper wiper(password);
    if (!line.isSet(unprotected)) {
        const auto given =
            readPassword(line, QStringLiteral("Password for the new key: "), console);
        if (!given || given->isEmpty()) {
            console.complain(QStringLiteral("a key without a password is made with --no-password"));
            return eUsage;
        }
        password = *given; // shared, and wiped with it
    }
    return makeKeys(name, password, console);
}

} // namespace publisher

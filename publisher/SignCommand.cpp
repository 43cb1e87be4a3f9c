#include "publisher/CommandLine.h"
#include "publisher/Commands.h"
#include "publisher/DocumentFile.h"
#include "publisher/PackageSource.h"
#include "publisher/Password.h"
#include "publisher/SecretKey.h"

#include "support/Minisign.h"

#include <QDateTime>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>

#include <limits>

namespace publisher {

namespace {

QCommandLineOption passwordOption()
{
    return QCommandLineOption(QStringLiteral("password-file"),
                              QStringLiteral("Take the key's password from the first line of a "
                                             "file instead of asking for it."),
                              QStringLiteral("file"));
}

/** Nothing, and a complaint, when there is no way to get one. */
std::optional<QByteArray> readPassword(const CommandLine& line, const QString& question,
                                       const Console& console)
{
    const QString path = line.value(QStringLiteral("password-file"));
    if (path.isEmpty()) {
        const auto password = askPassword(question);
        if (!password) {
            console.complain(QStringLiteral("there is no terminal to ask for the password: use "
                                            "--password-file"));
        }
        return password;
    }
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        console.complain(QStringLiteral("%1: %2").arg(path, file.errorString()));
        return std::nullopt;
    }
    return file.readLine().trimmed();
}

bool writeFile(const QString& path, const QByteArray& bytes, bool isSecret, const Console& console)
{
    QSaveFile file(path);
    const bool isOpen = file.open(QIODevice::WriteOnly);
    const auto owner = QFileDevice::ReadOwner | QFileDevice::WriteOwner;
    if (!isOpen || (isSecret && !file.setPermissions(owner)) || file.write(bytes) != bytes.size() ||
        !file.commit()) {
        console.complain(QStringLiteral("%1: %2").arg(path, file.errorString()));
        return false;
    }
    console.print(QStringLiteral("written: ") + path);
    return true;
}

std::optional<SecretKey> readKey(const CommandLine& line, const QString& path,
                                 const Console& console)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        console.complain(QStringLiteral("%1: %2").arg(path, file.errorString()));
        return std::nullopt;
    }
    const QByteArray text = file.readAll();
    QByteArray password;
    if (SecretKey::isEncrypted(text)) {
        const auto given =
            readPassword(line, QStringLiteral("Password of %1: ").arg(path), console);
        if (!given) {
            return std::nullopt;
        }
        password = *given;
    }
    auto key = SecretKey::decode(text, password);
    if (const auto* const error = std::get_if<QString>(&key)) {
        console.complain(QStringLiteral("%1: %2").arg(path, *error));
        return std::nullopt;
    }
    return std::move(std::get<SecretKey>(key));
}

/** The releases of the packages in a document by the names of their files. */
QHash<QString, QString> releasesIn(const QByteArray& document)
{
    QHash<QString, QString> releases;
    const zk::PackageInfoList packages = parsePackages(document);
    for (const zk::PackageInfo& package : packages) {
        releases.insert(package.url.fileName(), package.release);
    }
    return releases;
}

bool signFile(const QString& path, const QString& release, const SecretKey& key, Console& console)
{
    QFile file(path);
    std::optional<QByteArray> hash;
    if (file.open(QIODevice::ReadOnly)) {
        hash = zk::Minisign::hashOf(file, [&](qint64 done) {
            console.progress(QFileInfo(path).fileName(), done, file.size());
        });
        console.endProgress();
    }
    if (!hash) {
        console.complain(QStringLiteral("%1: %2").arg(path, file.errorString()));
        return false;
    }
    // The client compares file and release with what the document says of the package.
    QString comment = QStringLiteral("timestamp:%1\tfile:%2")
                          .arg(QDateTime::currentSecsSinceEpoch())
                          .arg(QFileInfo(path).fileName());
    if (!release.isEmpty()) {
        comment += QStringLiteral("\trelease:") + release;
    }
    comment += QStringLiteral("\thashed");
    return writeFile(path + QStringLiteral(".minisig"), key.sign(*hash, comment.toUtf8()), false,
                     console);
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
    const QString secretPath = name + QStringLiteral(".key");
    if (QFile::exists(secretPath)) {
        console.complain(QStringLiteral("%1 exists: whoever loses a key can sign nothing that "
                                        "hosts accept")
                             .arg(secretPath));
        return eFailed;
    }
    QByteArray password;
    if (!line.isSet(unprotected)) {
        const auto given =
            readPassword(line, QStringLiteral("Password for the new key: "), console);
        if (!given || given->isEmpty()) {
            console.complain(QStringLiteral("a key without a password is made with --no-password"));
            return eUsage;
        }
        password = *given;
    }
    const SecretKey key = SecretKey::generate();
    const QByteArray secret = key.encode(password);
    if (secret.isEmpty()) {
        console.complain(QStringLiteral("there is not enough memory to protect it"));
        return eFailed;
    }
    const bool isWritten =
        writeFile(secretPath, secret, true, console) &&
        writeFile(name + QStringLiteral(".pub"), key.publicKeyFile(), false, console);
    console.print(QStringLiteral("for setPackagePublicKeys(): ") +
                  QString::fromLatin1(key.publicKey()));
    return isWritten ? eFine : eFailed;
}

int signCommand(const QStringList& arguments, Console& console)
{
    CommandLine line(QStringLiteral("Signs packages: PACKAGE.minisig is published beside PACKAGE."),
                     {QStringLiteral("sign --key camera-desk.key --document updates.xml "
                                     "desk-4.3.exe desk-4.3.zip"),
                      QStringLiteral("sign --key camera-desk.key --release 4.3 desk-4.3.exe")});
    line.addPositionalArgument(QStringLiteral("package"), QStringLiteral("The files to sign."),
                               QStringLiteral("package..."));
    const QCommandLineOption keyFile(QStringLiteral("key"),
                                     QStringLiteral("The secret key, of ours or minisign's."),
                                     QStringLiteral("file"));
    const QCommandLineOption release(QStringLiteral("release"),
                                     QStringLiteral("The release that the packages are of."),
                                     QStringLiteral("version"));
    const QCommandLineOption documentFile(QStringLiteral("document"),
                                          QStringLiteral("Take the releases from this document."),
                                          QStringLiteral("file"));
    line.addOptions({keyFile, release, documentFile, passwordOption()});
    if (const auto code = line.read(arguments, 1, std::numeric_limits<int>::max(), console)) {
        return *code;
    }
    if (line.isSet(release) == line.isSet(documentFile) || !line.isSet(keyFile)) {
        console.complain(QStringLiteral("softwareupdate-publish sign: --key and one of --release "
                                        "and --document are needed"));
        return eUsage;
    }
    const DocumentFile document =
        line.isSet(documentFile) ? readDocument(line.value(documentFile)) : DocumentFile();
    const QHash<QString, QString> releases = releasesIn(document.bytes);
    const QStringList files = line.positionalArguments();
    for (const QString& file : files) {
        if (line.isSet(documentFile) && !releases.contains(QFileInfo(file).fileName())) {
            console.complain(QStringLiteral("%1 is not in %2%3")
                                 .arg(file, line.value(documentFile),
                                      document.error.isEmpty()
                                          ? QString()
                                          : QStringLiteral(": ") + document.error));
            return eFailed;
        }
    }
    const auto key = readKey(line, line.value(keyFile), console);
    bool isFine = key.has_value();
    for (const QString& file : files) {
        const QString version = releases.value(QFileInfo(file).fileName(), line.value(release));
        isFine = isFine && signFile(file, version, *key, console);
    }
    return isFine ? eFine : eFailed;
}

} // namespace publisher

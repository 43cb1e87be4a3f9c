#include "publisher/CommandLine.h"
#include "publisher/Commands.h"
#include "publisher/Files.h"
#include "publisher/KeyAccess.h"
#include "publisher/PackageSource.h"

#include "download/FileHash.h"

#include <QDateTime>
#include <QFile>
#include <QFileInfo>
#include <QHash>

#include <limits>

namespace publisher {

namespace {

/**
 * The releases of the files: @p release, or those in the document; nothing if a file is not in it,
 * which is reported.
 */
std::optional<QHash<QString, QString>> releasesOf(const QStringList& files, const QString& release,
                                                  const QString& documentPlace,
                                                  const Console& console)
{
    QHash<QString, QString> published;
    if (!documentPlace.isEmpty()) {
        const DocumentFile document = readDocument(documentPlace, console);
        const zk::PackageInfoList packages = parsePackages(document.bytes.value_or(QByteArray()));
        for (const zk::PackageInfo& package : packages) {
            published.insert(package.url.fileName(), package.release);
        }
    }
    QHash<QString, QString> releases;
    for (const QString& file : files) {
        const QString name = QFileInfo(file).fileName();
        if (!documentPlace.isEmpty() && !published.contains(name)) {
            console.complain(QStringLiteral("%1 is not in %2").arg(file, documentPlace));
            return std::nullopt;
        }
        releases.insert(file, published.value(name, release));
    }
    return releases;
}

bool signFile(const QString& path, const QString& release, const SecretKey& key, Console& console)
{
    QFile file(path);
    std::optional<trust::Blake2b512::Digest> hash;
    if (file.open(QIODevice::ReadOnly)) {
        hash = zk::hashOf<trust::Blake2b512>(file, [&](qint64 done) {
            console.progress(QFileInfo(path).fileName(), done, file.size());
            return true;
        });
        console.endProgress();
    }
    if (!hash) {
        console.complain(QStringLiteral("%1: %2").arg(path, file.errorString()));
        return false;
    }
    // The client compares file and release with the package's values in the document.
    QString comment = QStringLiteral("timestamp:%1\tfile:%2")
                          .arg(QDateTime::currentSecsSinceEpoch())
                          .arg(QFileInfo(path).fileName());
    if (!release.isEmpty()) {
        comment += QStringLiteral("\trelease:") + release;
    }
    comment += QStringLiteral("\thashed");
    const QString signature = path + QStringLiteral(".minisig");
    const bool isWritten =
        writeFile(signature, key.sign(zk::bytesOf(*hash), comment.toUtf8()), console);
    if (isWritten) {
        console.print(QStringLiteral("written: ") + signature);
    }
    return isWritten;
}

} // namespace

int signCommand(const QStringList& arguments, Console& console)
{
    CommandLine line(QStringLiteral("Signs packages: PACKAGE.minisig is published beside PACKAGE."),
                     {QStringLiteral("sign --key camera-desk.key --document updates.xml "
                                     "desk-4.3.exe desk-4.3.zip"),
                      QStringLiteral("sign --key camera-desk.key --release 4.3 desk-4.3.exe")});
    line.addPositionalArgument(QStringLiteral("package"), QStringLiteral("The files to sign."),
                               QStringLiteral("package..."));
    const QCommandLineOption keyFile(
        QStringLiteral("key"), QStringLiteral("The secret key, from this program or minisign."),
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
    const QStringList files = line.positionalArguments();
    const auto releases = releasesOf(files, line.value(release), line.value(documentFile), console);
    if (!releases) {
        return eFailed;
    }
    const auto key = readKey(line, line.value(keyFile), console);
    bool isFine = key.has_value();
    for (const QString& file : files) {
        isFine = isFine && signFile(file, releases->value(file), *key, console);
    }
    return isFine ? eFine : eFailed;
}

} // namespace publisher

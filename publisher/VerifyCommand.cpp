#include "publisher/CommandLine.h"
#include "publisher/Commands.h"
#include "publisher/Files.h"
#include "publisher/TreeComparison.h"

#include "download/FileHash.h"

#include <QDir>
#include <QFileInfo>

#include <algorithm>

namespace publisher {

namespace {

/** The public key in a file, or the key itself; nothing, and a complaint, if it is neither. */
std::optional<trust::PublicKey> readPublicKey(const QString& place, const Console& console)
{
    QByteArray text = place.toUtf8();
    if (QFileInfo::exists(place)) {
        text = readFile(place, console).value_or(QByteArray());
    }
    const auto key = trust::parsePublicKey(zk::viewOf(text));
    if (!key) {
        console.complain(QStringLiteral("%1 is neither a public key nor its file").arg(place));
    }
    return key;
}

/** The manifest @p text, if its signature in @p signature is one of the key at @p keyPlace. */
std::variant<trust::PackageManifest, std::string> acceptSigned(std::string_view text,
                                                               const QString& signature,
                                                               const QString& keyPlace,
                                                               const Console& console)
{
    const auto key = readPublicKey(keyPlace, console);
    const auto proof = readFile(signature, console);
    if (!key || !proof) {
        return "its signature cannot be verified";
    }
    const auto parsed = trust::parseManifest(text);
    const auto* const manifest = std::get_if<trust::PackageManifest>(&parsed);
    // An installed manifest has another name than the published one, which is signed.
    return manifest ? trust::acceptManifest(text, zk::viewOf(*proof), manifest->archive, {*key})
                    : parsed;
}

/**
 * The manifest at @p path; nothing, and a complaint, if there is none, or not one that the key at
 * @p keyPlace has signed.
 */
std::optional<trust::PackageManifest>
readManifest(const QString& path, const std::optional<QString>& keyPlace, const Console& console)
{
    const auto text = readFile(path, console);
    if (!text) {
        return std::nullopt;
    }
    auto manifest = keyPlace ? acceptSigned(zk::viewOf(*text), path + QStringLiteral(".minisig"),
                                            *keyPlace, console)
                             : trust::parseManifest(zk::viewOf(*text));
    if (const auto* const error = std::get_if<std::string>(&manifest)) {
        console.complain(
            QStringLiteral("%1 is refused: %2").arg(path, QString::fromStdString(*error)));
        return std::nullopt;
    }
    return std::move(std::get<trust::PackageManifest>(manifest));
}

/** The manifest with paths as they are in @p folder, which may be all of the package or the only
 * folder in it. */
trust::PackageManifest pathsIn(const QDir& folder, const trust::PackageManifest& manifest)
{
    const auto isThere = [&folder](const auto& file) {
        return folder.exists(QString::fromStdString(file.path));
    };
    const bool isWhole = std::any_of(manifest.files.begin(), manifest.files.end(), isThere);
    return isWhole ? manifest : belowOnlyFolder(manifest);
}

/** Prints the differences, and their number; returns the exit code. */
int compare(const QString& folder, const trust::PackageManifest& manifest, const Console& console)
{
    const QStringList lines = differences(folder, manifest);
    for (const QString& line : lines) {
        console.print(line);
    }
    const QString package = QStringLiteral("%1 %2").arg(QString::fromStdString(manifest.product),
                                                        QString::fromStdString(manifest.release));
    console.print(lines.isEmpty() ? QStringLiteral("%1 is %2, file by file").arg(folder, package)
                                  : QStringLiteral("%1 is not %2: differences: %3")
                                        .arg(folder, package)
                                        .arg(lines.size()));
    return lines.isEmpty() ? eFine : eHasErrors;
}

} // namespace

int verifyCommand(const QStringList& arguments, Console& console)
{
    CommandLine line(
        QStringLiteral("Compares an installed or unpacked folder with the manifest of a package, "
                       "file by file."),
        {QStringLiteral("verify --key camera-desk.pub \"C:/Program Files/Camera Desk\""),
         QStringLiteral("verify --manifest desk-4.3.zip.manifest unpacked")});
    line.addPositionalArgument(QStringLiteral("folder"), QStringLiteral("The folder."));
    const QCommandLineOption key(
        QStringLiteral("key"),
        QStringLiteral("The public key, or its file, that must have signed the manifest."),
        QStringLiteral("key"));
    const QCommandLineOption manifestFile(
        QStringLiteral("manifest"),
        QStringLiteral("The manifest, beside its signature (default: the one in the folder)."),
        QStringLiteral("file"));
    line.addOptions({key, manifestFile});
    if (const auto code = line.read(arguments, 1, 1, console)) {
        return *code;
    }
    const QDir folder(line.positionalArguments().constFirst());
    if (!folder.exists()) {
        console.complain(QStringLiteral("no such folder: ") + folder.path());
        return eFailed;
    }
    const QString path =
        line.isSet(manifestFile)
            ? line.value(manifestFile)
            : folder.filePath(QString::fromLatin1(trust::installedManifestName.data()));
    // An empty key is refused: it may come from a script's variable that is not set.
    const auto keyPlace = line.isSet(key) ? std::optional(line.value(key)) : std::nullopt;
    const auto manifest = readManifest(path, keyPlace, console);
    if (!manifest) {
        return eFailed;
    }
    if (!keyPlace) {
        console.print(QStringLiteral("without --key the manifest's signature is not verified"));
    }
    return compare(folder.path(), pathsIn(folder, *manifest), console);
}

} // namespace publisher

#include "publisher/CommandLine.h"
#include "publisher/Commands.h"
#include "publisher/Files.h"
#include "publisher/KeyAccess.h"
#include "publisher/PackageSource.h"
#include "publisher/SigningPlan.h"

#include "download/FileHash.h"
#include "support/QtCompatibility.h"
#include "support/StringUtils.h"

#include <QDateTime>
#include <QFile>
#include <QFileInfo>

#include <limits>

namespace publisher {

namespace {

constexpr char signatureSuffix[] = ".minisig";

QString option(const char* key)
{
    return QString::fromLatin1(key);
}

/** The signature of the file @p name with this hash. */
QByteArray signatureOf(const trust::Blake2b512::Digest& hash, const QString& name,
                       const QString& release, const SecretKey& key)
{
    // The client compares file and release with the package's values in the document.
    QString comment =
        QStringLiteral("timestamp:%1\tfile:%2").arg(QDateTime::currentSecsSinceEpoch()).arg(name);
    if (!release.isEmpty()) {
        comment += QStringLiteral("\trelease:") + release;
    }
    comment += QStringLiteral("\thashed");
    return key.sign(zk::bytesOf(hash), comment.toUtf8());
}

/** The hash of a package; nothing, and a complaint, if it cannot be read. */
std::optional<trust::Blake2b512::Digest> hashPackage(const QString& path, Console& console)
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
    }
    return hash;
}

/** Why clients would refuse the manifest; empty if they would not. */
std::string complaintAbout(const std::string& manifest, const QByteArray& signature,
                           const QString& archive, const SecretKey& key)
{
    const auto publicKey = trust::parsePublicKey(zk::viewOf(key.publicKey()));
    const auto accepted = trust::acceptManifest(manifest, zk::viewOf(signature),
                                                archive.toStdString(), {publicKey.value()});
    const auto* const error = std::get_if<std::string>(&accepted);
    return error ? *error : std::string();
}

/** Writes the manifest of a ZIP package and its signature: both or none. */
bool writeManifest(const SigningJob& job, const SecretKey& key, const Console& console)
{
    const auto manifest = manifestOf(job.file, job.identity);
    if (const auto* const error = std::get_if<QString>(&manifest)) {
        console.complain(*error);
        return false;
    }
    const std::string text = trust::manifestText(std::get<trust::PackageManifest>(manifest));
    const QString path = job.file + QString::fromLatin1(trust::manifestSuffix.data());
    const QByteArray signature = signatureOf(trust::Blake2b512::of(text),
                                             QFileInfo(path).fileName(), job.identity.release, key);
    const std::string complaint =
        complaintAbout(text, signature, QFileInfo(job.file).fileName(), key);
    if (!complaint.empty()) {
        console.complain(
            QStringLiteral("%1 cannot be signed: %2").arg(path, QString::fromStdString(complaint)));
        return false;
    }
    if (!writeFile(path, QByteArray::fromStdString(text), console) ||
        !writeFile(path + QLatin1String(signatureSuffix), signature, console)) {
        // Not fatal if it fails: clients ignore a manifest that its signature does not fit.
        (void)QFile::remove(path);
        return false;
    }
    console.print(QStringLiteral("written: ") + path);
    console.print(QStringLiteral("written: ") + path + QLatin1String(signatureSuffix));
    return true;
}

bool signPackage(const SigningJob& job, const SecretKey& key, Console& console)
{
    const auto hash = hashPackage(job.file, console);
    if (!hash || (job.isWithManifest && !writeManifest(job, key, console))) {
        return false;
    }
    if (!job.noManifest.isEmpty()) {
        console.print(
            QStringLiteral("no manifest of %1 was written: %2").arg(job.file, job.noManifest));
    }
    const QString path = job.file + QLatin1String(signatureSuffix);
    const QByteArray signature =
        signatureOf(*hash, QFileInfo(job.file).fileName(), job.identity.release, key);
    const bool isWritten = writeFile(path, signature, console);
    if (isWritten) {
        console.print(QStringLiteral("written: ") + path);
    }
    return isWritten;
}

void addOptions(CommandLine& line)
{
    const auto add = [&line](const char* name, const QString& description, const char* value) {
        line.addOption({option(name), description, QString::fromLatin1(value)});
    };
    add("key", QStringLiteral("The secret key, from this program or minisign."), "file");
    add("document", QStringLiteral("Take releases, products and platforms from this document."),
        "file");
    add("release", QStringLiteral("The release that the packages are of."), "version");
    add("product", QStringLiteral("With --release: the product, for manifests of ZIP packages."),
        "name");
    add("platform",
        QStringLiteral("With --release: what the packages run on, for manifests; may be repeated."),
        "list");
    line.addOption(passwordOption());
}

/** What is wrong with the options; empty if nothing is. */
QString optionsComplaint(const CommandLine& line)
{
    const bool isFromDocument = line.isSet(option("document"));
    if (line.isSet(option("release")) == isFromDocument || !line.isSet(option("key"))) {
        return QStringLiteral("--key and one of --release and --document are needed");
    }
    if (isFromDocument && (line.isSet(option("product")) || line.isSet(option("platform")))) {
        return QStringLiteral("--product and --platform come from the document");
    }
    return QString();
}

/** What to sign; nothing, and a complaint, if the document does not tell. */
std::optional<SigningPlan> readPlan(const CommandLine& line, const Console& console)
{
    const QStringList files = line.positionalArguments();
    if (!line.isSet(option("document"))) {
        const QString platforms = line.values(option("platform")).join(QLatin1Char(' '));
        return planFor(files, {line.value(option("product")),
                               zk::QtCompatibility::split(platforms, zk::StringUtils::splitWords,
                                                          Qt::SkipEmptyParts),
                               line.value(option("release"))});
    }
    const QString place = line.value(option("document"));
    const DocumentFile document = readDocument(place, console);
    if (!document.bytes) {
        return std::nullopt;
    }
    auto plan = planFor(files, parsePackages(*document.bytes));
    if (const auto* const error = std::get_if<QString>(&plan)) {
        console.complain(QStringLiteral("%1: %2").arg(place, *error));
        return std::nullopt;
    }
    return std::move(std::get<SigningPlan>(plan));
}

} // namespace

int signCommand(const QStringList& arguments, Console& console)
{
    CommandLine line(
        QStringLiteral("Signs packages: PACKAGE.minisig is published beside PACKAGE.\n"
                       "A ZIP package gets a signed manifest too, PACKAGE.manifest, from which "
                       "clients fetch only what has changed."),
        {QStringLiteral("sign --key camera-desk.key --document updates.xml "
                        "desk-4.3.exe desk-4.3.zip"),
         QStringLiteral("sign --key camera-desk.key --release 4.3 --product \"Camera Desk\" "
                        "--platform Win64 desk-4.3.zip")});
    line.addPositionalArgument(QStringLiteral("package"), QStringLiteral("The files to sign."),
                               QStringLiteral("package..."));
    addOptions(line);
    if (const auto code = line.read(arguments, 1, std::numeric_limits<int>::max(), console)) {
        return *code;
    }
    const QString complaint = optionsComplaint(line);
    if (!complaint.isEmpty()) {
        console.complain(QStringLiteral("softwareupdate-publish sign: ") + complaint);
        return eUsage;
    }
    const auto plan = readPlan(line, console);
    if (!plan) {
        return eFailed;
    }
    const auto key = readKey(line, line.value(option("key")), console);
    bool isFine = key.has_value();
    for (const SigningJob& job : *plan) {
        isFine = isFine && signPackage(job, *key, console);
    }
    return isFine ? eFine : eFailed;
}

} // namespace publisher

#include "publisher/CommandLine.h"
#include "publisher/Commands.h"
#include "publisher/Files.h"
#include "publisher/Lint.h"
#include "publisher/PackageSource.h"
#include "publisher/PreviewReport.h"

#include "support/QtCompatibility.h"
#include "support/StringUtils.h"
#include "ui/SoftwareUpdateTranslator.h"

#include <QCoreApplication>

namespace publisher {

namespace {

struct Options
{
    QCommandLineOption product{QStringLiteral("product"), QStringLiteral("The host's product."),
                               QStringLiteral("name")};
    QCommandLineOption version{QStringLiteral("version"),
                               QStringLiteral("The version of it that is installed."),
                               QStringLiteral("version")};
    QCommandLineOption platform{QStringLiteral("platform"), QStringLiteral("Its platforms."),
                                QStringLiteral("list"), QStringLiteral("Win32,Win64")};
    QCommandLineOption suffixes{QStringLiteral("suffixes"),
                                QStringLiteral("Formats that the host takes."),
                                QStringLiteral("list"), QStringLiteral("exe,zip")};
    QCommandLineOption camera{QStringLiteral("camera"),
                              QStringLiteral("A camera and its firmware; may be repeated."),
                              QStringLiteral("model=version")};
    QCommandLineOption beta{QStringLiteral("beta"),
                            QStringLiteral("The user wants beta releases too.")};
    QCommandLineOption language{QStringLiteral("language"), QStringLiteral("The user's language."),
                                QStringLiteral("code"), QStringLiteral("en")};
    QCommandLineOption json{QStringLiteral("json"), QStringLiteral("Print JSON, for machines.")};
    QCommandLineOption html{
        QStringLiteral("html"),
        QStringLiteral("Write a page, with everybody's offers and the findings."),
        QStringLiteral("file")};
};

zk::VersionNumber version(const QString& text)
{
    return zk::VersionNumber(text.toStdWString());
}

QStringList words(const QString& text)
{
    return zk::QtCompatibility::split(text, zk::StringUtils::splitWords, Qt::SkipEmptyParts);
}

/** Nothing if a value is invalid, which is reported. */
std::optional<Audience> readAudience(const CommandLine& line, const Options& options,
                                     const Console& console)
{
    Audience audience;
    audience.host.productName = line.value(options.product);
    audience.host.version = version(line.value(options.version));
    audience.host.platforms = words(line.value(options.platform));
    audience.host.packageSuffixes = words(line.value(options.suffixes));
    audience.host.includeBeta = line.isSet(options.beta);
    audience.locale = QLocale(line.value(options.language));
    QString complaint;
    if (audience.host.productName.isEmpty() || audience.host.version.toString().empty()) {
        complaint = QStringLiteral("--product and --version are needed; a version begins with a "
                                   "number");
    } else if (audience.locale == QLocale::c()) {
        complaint = QStringLiteral("unknown language \"%1\"").arg(line.value(options.language));
    }
    const QStringList cameras = line.values(options.camera);
    for (const QString& camera : cameras) {
        const zk::VersionNumber firmware = version(camera.section(QLatin1Char('='), -1));
        if (!camera.contains(QLatin1Char('=')) || firmware.toString().empty()) {
            complaint = QStringLiteral("a camera must be MODEL=VERSION, not \"%1\"").arg(camera);
        }
        audience.host.cameraVersions.append({camera.section(QLatin1Char('='), 0, -2), firmware});
    }
    if (complaint.isEmpty()) {
        return audience;
    }
    console.complain(QStringLiteral("softwareupdate-publish preview: ") + complaint);
    return std::nullopt;
}

int show(const PreviewReport& report, const CommandLine& line, const Options& options,
         const Console& console)
{
    const QString page = line.value(options.html);
    if (!page.isEmpty()) {
        const bool isWritten = writeFile(page, toHtml(report), console);
        if (isWritten) {
            console.print(QStringLiteral("written: ") + page);
        }
        return isWritten ? eFine : eFailed;
    }
    if (line.isSet(options.json)) {
        console.print(QString::fromUtf8(toJson(report)));
    } else {
        printPreview(report, console);
    }
    return eFine;
}

} // namespace

int previewCommand(const QStringList& arguments, Console& console)
{
    CommandLine line(
        QStringLiteral("Shows what a user would see of an update document."),
        {QStringLiteral(
             "preview updates.xml --product \"Camera Desk\" --version 4.2 --language de"),
         QStringLiteral("preview updates.xml --product \"Camera Desk\" --version 4.2 "
                        "--camera Falcon-12=2.1 --beta --html preview.html")});
    line.addPositionalArgument(QStringLiteral("document"),
                               QStringLiteral("The document: a file, or its address."));
    const Options options;
    line.addOptions({options.product, options.version, options.platform, options.suffixes,
                     options.camera, options.beta, options.language, options.json, options.html});
    if (const auto code = line.read(arguments, 1, 1, console)) {
        return *code;
    }
    const auto audience = readAudience(line, options, console);
    if (!audience) {
        return eUsage;
    }
    const QString place = line.positionalArguments().constFirst();
    const DocumentFile document = readDocument(place, console);
    if (!document.bytes) {
        return eFailed;
    }
    zk::SoftwareUpdateTranslator translator;
    if (translator.load(audience->locale)) {
        QCoreApplication::installTranslator(&translator);
    }
    const zk::PackageInfoList packages = parsePackages(*document.bytes);
    PreviewReport report{place, *audience, preview(packages, *audience), {}, {}};
    if (line.isSet(options.html)) {
        report.findings = lint(*document.bytes, document.folder);
        report.matrix = audienceMatrix(packages, audience->locale);
    }
    return show(report, line, options, console);
}

} // namespace publisher

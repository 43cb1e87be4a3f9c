#include "publisher/Addition.h"
#include "publisher/CommandLine.h"
#include "publisher/Commands.h"
#include "publisher/Files.h"
#include "publisher/FindingReport.h"
#include "publisher/Lint.h"

#include "catalogue/Vocabulary.h"
#include "support/QtCompatibility.h"
#include "support/StringUtils.h"

#include <QFile>
#include <QFileInfo>
#include <QUrl>

namespace publisher {

namespace {

using namespace zk;

/** The options with a single value, named like the document's keys. */
struct ValueOption
{
    const char* key;
    const char* description;
    const char* defaultValue;
    bool isNeeded = false;
};

const ValueOption valueOptions[] = {
    {Vocabulary::type, "Its type.", Vocabulary::typeApplication},
    {Vocabulary::name, "The product.", "", true},
    {Vocabulary::namePublic, "The product's name for users.", ""},
    {Vocabulary::releaseVersion, "The version.", "", true},
    {Vocabulary::releaseVersionPublic, "The version for users.", ""},
    {Vocabulary::releaseStatus, "STABLE or BETA.", Vocabulary::statusStable},
    {Vocabulary::comment, "A comment for users.", ""},
    {Vocabulary::baseUrl, "Where the files are published, ending with \"/\".", ""},
};

QCommandLineOption option(const char* name, const char* description, const char* valueName,
                          const char* defaultValue = "")
{
    return QCommandLineOption(QString::fromLatin1(name), QString::fromLatin1(description),
                              QString::fromLatin1(valueName), QString::fromLatin1(defaultValue));
}

void addOptions(CommandLine& line)
{
    for (const ValueOption& value : valueOptions) {
        line.addOption(option(value.key, value.description, "text", value.defaultValue));
    }
    line.addOption(
        option(Vocabulary::platform, "What it runs on: Win32, Win64, or camera models.", "list"));
    line.addOption(option(Vocabulary::language, "Its languages.", "list"));
    line.addOption(option(Vocabulary::releaseDate,
                          "When it was released, as 2026-09-14 or \"2026-09-14 09:30:00\" "
                          "(default: when each file was written).",
                          "date"));
    line.addOption(
        option(Vocabulary::releaseNotes, "A page with news; may be repeated.", "language=address"));
    line.addOption(
        option(Vocabulary::readme, "A page to read first; may be repeated.", "language=address"));
}

QStringList words(const CommandLine& line, const char* key)
{
    return QtCompatibility::split(line.value(QString::fromLatin1(key)), StringUtils::splitWords,
                                  Qt::SkipEmptyParts);
}

/** Reads the release from the command line; returns the error, if any. */
QString readRelease(const CommandLine& line, NewRelease& release)
{
    for (const ValueOption& value : valueOptions) {
        const QString text = line.value(QString::fromLatin1(value.key));
        if (value.isNeeded && text.isEmpty()) {
            return QStringLiteral("--%1 is needed").arg(QLatin1String(value.key));
        }
        if (!text.isEmpty()) {
            release.values << NewValue{value.key, text};
        }
    }
    release.platforms = words(line, Vocabulary::platform);
    release.languages = words(line, Vocabulary::language);
    if (release.platforms.isEmpty()) {
        return QStringLiteral("--platform is needed");
    }
    for (const char* const key : {Vocabulary::releaseNotes, Vocabulary::readme}) {
        const QStringList pages = line.values(QString::fromLatin1(key));
        for (const QString& page : pages) {
            if (page.indexOf(QLatin1Char('=')) < 1) {
                return QStringLiteral("a page must be LANGUAGE=ADDRESS, not \"%1\"").arg(page);
            }
            release.links << NewLink{key, page.section(QLatin1Char('='), 0, 0),
                                     page.section(QLatin1Char('='), 1)};
        }
    }
    return QString();
}

/** Reads the data of the files; returns the error, if any. */
QString readFiles(const CommandLine& line, NewRelease& release)
{
    const QString date = line.value(QString::fromLatin1(Vocabulary::releaseDate));
    const QStringList paths = line.positionalArguments().mid(1);
    for (const QString& path : paths) {
        const QFileInfo info(path);
        if (!info.isFile() || info.size() == 0) {
            return QStringLiteral("%1 is not a file, or it is empty").arg(path);
        }
        NewFile file{QString::fromLatin1(QUrl::toPercentEncoding(info.fileName())), info.size(),
                     info.lastModified()};
        if (!date.isEmpty()) {
            file.date = QDateTime::fromString(
                date.trimmed().replace(QLatin1Char(' '), QLatin1Char('T')), Qt::ISODate);
        }
        if (!file.date.isValid()) {
            return QStringLiteral("\"%1\" is not a date").arg(date);
        }
        release.files << file;
    }
    return QString();
}

/** Adds the release to the document on the disk and lints the result. */
int addTo(const QString& path, const NewRelease& release, Console& console)
{
    std::optional<QByteArray> before = QByteArray();
    if (QFile::exists(path)) {
        before = readFile(path, console);
    }
    if (!before) {
        return eFailed;
    }
    const Addition addition = addRelease(*before, release);
    if (const auto* const refusal = std::get_if<QString>(&addition)) {
        console.complain(QStringLiteral("%1: nothing was added: %2").arg(path, *refusal));
        return eHasErrors;
    }
    const auto& bytes = std::get<QByteArray>(addition);
    if (!writeFile(path, bytes, console)) {
        return eFailed;
    }
    console.print(QStringLiteral("%1: packages added: %2").arg(path).arg(release.files.size()));
    const Findings findings = lint(bytes, QFileInfo(path).absolutePath());
    printFindings(findings, path, console);
    return exitCode(findings);
}

} // namespace

int addCommand(const QStringList& arguments, Console& console)
{
    CommandLine line(
        QStringLiteral("Adds the packages of one release to an update document, or begins one.\n"
                       "Sizes and dates are those of the files. What a set of the document says "
                       "already is not repeated."),
        {QStringLiteral("add updates.xml desk-4.3.exe desk-4.3.zip --name \"Camera Desk\" "
                        "--release 4.3 --platform Win64 --base-url https://updates.example.com/"),
         QStringLiteral("add updates.xml falcon-2.2.bin --type \"Camera Firmware\" --name Firmware "
                        "--release 2.2 --platform Falcon-12 --language \"en de\"")});
    line.addPositionalArgument(QStringLiteral("document"), QStringLiteral("The document's file."));
    line.addPositionalArgument(QStringLiteral("package"), QStringLiteral("The packages' files."),
                               QStringLiteral("package..."));
    addOptions(line);
    if (const auto code = line.read(arguments, 2, std::numeric_limits<int>::max(), console)) {
        return *code;
    }
    NewRelease release;
    QString complaint = readRelease(line, release);
    complaint = complaint.isEmpty() ? readFiles(line, release) : complaint;
    if (!complaint.isEmpty()) {
        console.complain(QStringLiteral("softwareupdate-publish add: ") + complaint);
        return eUsage;
    }
    return addTo(line.positionalArguments().constFirst(), release, console);
}

} // namespace publisher

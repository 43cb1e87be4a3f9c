// Checks the values of one package.

#include "publisher/LintRules.h"

#include "catalogue/DocumentValues.h"
#include "catalogue/PackageSelection.h"
#include "catalogue/Vocabulary.h"
#include "support/LinkRule.h"
#include "support/StringUtils.h"
#include "support/VersionNumber.h"

#include <QDir>
#include <QFileInfo>

namespace publisher {

namespace {

using namespace zk;
using PackageSelection::isCameraFirmware;

void checkPresence(const PackageSource& package, Report& report)
{
    struct Need
    {
        const char* key;
        Finding::Level level;
        const char* consequence;
    };
    static const Need needs[] = {
        {Vocabulary::url, Finding::eError, "it can neither be downloaded nor installed"},
        {Vocabulary::releaseVersion, Finding::eError, "it is never newer than anything"},
        {Vocabulary::platform, Finding::eError, "it fits no host and no camera"},
        {Vocabulary::name, Finding::eError, "it belongs to no product"},
        {Vocabulary::type, Finding::eWarning, "clients cannot tell whether it is firmware"},
        {Vocabulary::releaseStatus, Finding::eError,
         "it is offered only to users who want beta releases"},
        {Vocabulary::releaseDate, Finding::eWarning,
         "packages of the same size without one count as one"},
        {Vocabulary::fileSize, Finding::eWarning,
         "packages of the same date without one count as one"},
        {Vocabulary::language, Finding::eNote, "firmware without one is hidden from most users"},
    };
    for (const Need& need : needs) {
        const auto value = package.value(need.key);
        const QLatin1String key(need.key);
        const bool isFirmwareOnly = key == QLatin1String(Vocabulary::language);
        const bool isMissing = key == QLatin1String(Vocabulary::platform)
                                   ? package.info.platforms.isEmpty()
                                   : !value || value->text.isEmpty();
        if (isMissing && (!isFirmwareOnly || isCameraFirmware(package.info))) {
            report.add(need.level, value ? value->offset : package.element->offset, "missing",
                       QStringLiteral("the package has no \"%1\": %2")
                           .arg(key, QLatin1String(need.consequence)));
        }
    }
}

void checkBlanks(const PackageSource& package, Report& report)
{
    for (const char* const key :
         {Vocabulary::type, Vocabulary::name, Vocabulary::releaseStatus, Vocabulary::releaseDate,
          Vocabulary::baseUrl, Vocabulary::url, Vocabulary::fileSize}) {
        const auto value = package.value(key);
        if (value && value->text != value->text.trimmed()) {
            report.add(Finding::eWarning, value->offset, "blanks",
                       QStringLiteral("the blanks around \"%1\" belong to the value of \"%2\"")
                           .arg(value->text.trimmed(), QLatin1String(key)));
        }
    }
}

void checkRelease(const PackageSource& package, Report& report)
{
    const PackageInfo& info = package.info;
    if (!info.release.isEmpty() && VersionNumber(info.release.toStdWString()).toString().empty()) {
        report.add(Finding::eError, package.offset(Vocabulary::releaseVersion), "release",
                   QStringLiteral("\"%1\" does not begin with a number: no client takes it for a "
                                  "version")
                       .arg(info.release));
    }
    const bool isKnown = info.status == QLatin1String(Vocabulary::statusStable) ||
                         info.status == QLatin1String(Vocabulary::statusBeta);
    if (!info.status.isEmpty() && !isKnown) {
        report.add(Finding::eWarning, package.offset(Vocabulary::releaseStatus), "status",
                   QStringLiteral("\"%1\" is neither \"STABLE\" nor \"BETA\": only users who want "
                                  "beta releases are offered it")
                       .arg(info.status));
    }
}

void checkDate(const PackageSource& package, Report& report)
{
    const auto date = package.value(Vocabulary::releaseDate);
    if (!date || date->text.isEmpty() || !package.info.releaseDate.isNull()) {
        return;
    }
    const QDateTime iso = QDateTime::fromString(date->text.trimmed(), Qt::ISODate);
    report.add(
        Finding::eError, date->offset, "date",
        QStringLiteral("\"%1\" is not read as a date: write %2")
            .arg(date->text, iso.isValid()
                                 ? iso.toString(QStringLiteral("\"yyyy-MM-dd hh:mm:ss\""))
                                 : QStringLiteral("\"2026-09-14\" or \"2026-09-14 09:30:00\"")));
}

/** Whether a size such as "52.5MB" matches a number of bytes, allowing for one rounded digit. */
bool fits(const QString& written, quint32 stated, qint64 actual)
{
    const QString text = written.toUpper();
    const qint64 unit = text.endsWith(QLatin1String("MB"))   ? 1024 * 1024
                        : text.endsWith(QLatin1String("KB")) ? 1024
                                                             : 0;
    const int decimals =
        text.contains(QLatin1Char('.')) ? text.size() - 3 - text.indexOf(QLatin1Char('.')) : 0;
    qint64 tolerance = unit;
    for (int i = 0; i < decimals; ++i) {
        tolerance /= 10;
    }
    return qAbs(qint64(stated) - qint64(quint32(actual))) <= tolerance;
}

void checkSize(const PackageSource& package, const QString& folder, Report& report)
{
    const auto size = package.value(Vocabulary::fileSize);
    if (!size || size->text.isEmpty()) {
        return;
    }
    if (package.info.fileSize == 0 && size->text.trimmed() != QLatin1String("0")) {
        report.add(Finding::eError, size->offset, "size",
                   QStringLiteral("\"%1\" is not read as a size: write bytes, or a number and "
                                  "\"kB\" or \"MB\"")
                       .arg(size->text));
        return;
    }
    const auto url = package.value(Vocabulary::url);
    if (folder.isEmpty() || !url) {
        return;
    }
    // Published files are in the document's folder, at the ends of their addresses.
    const QString path = package.info.url.path();
    const QString file = QDir(folder).filePath(
        QUrl(url->text).isRelative() && !url->text.startsWith(QLatin1Char('/'))
            ? QUrl(url->text).path()
            : path.mid(path.lastIndexOf(QLatin1Char('/')) + 1));
    const QFileInfo actual(file);
    if (actual.isFile() && !fits(size->text, package.info.fileSize, actual.size())) {
        report.add(Finding::eError, size->offset, "size-differs",
                   QStringLiteral("\"%1\" is not the size of %2, which has %3 bytes")
                       .arg(size->text, QDir::toNativeSeparators(file))
                       .arg(actual.size()));
    }
}

void checkUrl(const PackageSource& package, Report& report)
{
    const auto url = package.value(Vocabulary::url);
    if (!url || url->text.isEmpty()) {
        return;
    }
    const auto base = package.value(Vocabulary::baseUrl);
    if (base && !base->text.isEmpty() && !base->text.endsWith(QLatin1Char('/'))) {
        report.add(Finding::eWarning, base->offset, "base-url",
                   QStringLiteral("\"base-url\" does not end with \"/\", and \"url\" is put right "
                                  "behind it"));
    }
    if (package.info.url.isRelative() || !isOpenableLink(package.info.url)) {
        report.add(
            Finding::eError, url->offset, "url",
            QStringLiteral("clients cannot download from \"%1\"").arg(package.info.url.toString()));
    }
    const QString& suffix = package.info.suffix;
    if (suffix.size() < 3 || suffix.size() > 7 || suffix.contains(QLatin1Char('/')) ||
        suffix.contains(QLatin1Char('?'))) {
        report.add(
            Finding::eWarning, url->offset, "suffix",
            QStringLiteral("the address ends with \"%1\", which no host knows how to install")
                .arg(suffix));
    }
}

void checkPlatforms(const PackageSource& package, Report& report)
{
    if (!isCameraFirmware(package.info)) {
        return;
    }
    for (const QString& platform : {QStringLiteral("Win32"), QStringLiteral("Win64")}) {
        if (package.info.platforms.contains(platform)) {
            report.add(Finding::eError, package.offset(Vocabulary::platform), "firmware-platform",
                       QStringLiteral("firmware is for camera models: \"%1\" never matches one")
                           .arg(platform));
        }
    }
}

/** The value of the link itself or of its file; inherited values do not count. */
std::optional<SourceValue> ownValue(const SourceElement& link, const char* key)
{
    const SourceElement* const file = link.child(QLatin1String(Vocabulary::file));
    const auto inFile = file ? valueAt(*file, key) : std::nullopt;
    return inFile ? inFile : valueAt(link, key);
}

void checkLinks(const PackageSource& package, Report& report)
{
    for (const char* const key : {Vocabulary::releaseNotes, Vocabulary::readme}) {
        for (const SourceElement* child : package.element->children) {
            if (child->name != QLatin1String(key)) {
                continue;
            }
            const auto own = ownValue(*child, Vocabulary::url);
            if (!own || own->text.isEmpty()) {
                report.add(Finding::eError, child->offset, "link-url",
                           QStringLiteral("\"%1\" has no \"url\" of its own and leads to the "
                                          "nearest one above it, the package's")
                               .arg(child->name));
            } else if (!QUrl(own->text).isRelative() && !isOpenableLink(QUrl(own->text))) {
                report.add(Finding::eError, own->offset, "url",
                           QStringLiteral("clients do not open \"%1\"").arg(own->text));
            }
            const auto language = package.value(Vocabulary::language);
            const bool isList =
                language && StringUtils::splitWords.indexIn(language->text.trimmed()) >= 0;
            if (isList && !ownValue(*child, Vocabulary::language)) {
                report.add(Finding::eWarning, child->offset, "link-language",
                           QStringLiteral("\"%1\" without a \"language\" takes \"%2\" as one")
                               .arg(child->name, language->text));
            }
        }
    }
}

} // namespace

void checkPackage(const PackageSource& package, const QString& folder, Report& report)
{
    checkPresence(package, report);
    checkBlanks(package, report);
    checkRelease(package, report);
    checkDate(package, report);
    checkSize(package, folder, report);
    checkUrl(package, report);
    checkPlatforms(package, report);
    checkLinks(package, report);
}

} // namespace publisher

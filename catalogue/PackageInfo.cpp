#include "catalogue/PackageInfo.h"

#include "catalogue/CandidateFilter.h"
#include "support/CoreApplication.h"
#include "support/StringUtils.h"

#include <QCoreApplication>
#include <QFileInfo>

namespace zk {

namespace {

// Queued connections and calls by name look the types up by the names in signatures.
bool registerTypes()
{
    qRegisterMetaType<PackageInfo>("zk::PackageInfo");
    qRegisterMetaType<PackageInfo>("PackageInfo");
    qRegisterMetaType<PackageInfoList>("zk::PackageInfoList");
    qRegisterMetaType<PackageInfoList>("PackageInfoList");
    return true;
}

[[maybe_unused]] const bool registered = registerTypes();

QString identity(const PackageInfo& package)
{
    return QLatin1String("1-") + package.releaseDate.toString(Qt::ISODate) + QLatin1Char('-') +
           QString::number(package.fileSize);
}

QStringList collectTexts(const PackageInfoList& packages, QString PackageInfo::*field,
                         bool translate)
{
    QSet<QString> texts;
    for (const PackageInfo& package : packages) {
        const QString& text = package.*field;
        texts.insert(translate
                         ? QCoreApplication::translate("Download", text.toLatin1().constData())
                         : text);
    }
    return texts.values();
}

QStringList collectSets(const PackageInfoList& packages, QSet<QString> PackageInfo::*field)
{
    QSet<QString> texts;
    for (const PackageInfo& package : packages) {
        StringUtils::appendAll(texts, package.*field, QStringLiteral("Download"));
    }
    return texts.values();
}

} // namespace

PackageInfo::PackageInfo(const QString& packageType, const QString& productName,
                         const QString& releaseText, const QString& releaseStatus,
                         const QDateTime& date, const QSet<QString>& platformNames,
                         const QSet<QString>& languageCodes, const QString& packageSuffix,
                         const QString& commentText)
    : type(packageType)
    , name(productName)
    , publicName(productName)
    , platforms(platformNames)
    , release(releaseText)
    , publicRelease(releaseText)
    , status(releaseStatus)
    , releaseDate(date)
    , languages(languageCodes)
    , suffix(packageSuffix)
    , comment(commentText)
{
}

// The signatures are published: not const, and texts by value.
// NOLINTBEGIN(readability-make-member-function-const, performance-unnecessary-value-param)

QString PackageInfo::stringID()
{
    return identity(*this);
}

bool PackageInfo::operator==(const PackageInfo& other) const
{
    return identity(*this) == identity(other);
}

QString PackageInfo::displayName(bool usePublic)
{
    return usePublic && !publicName.isEmpty() ? publicName : name;
}

QString PackageInfo::displayReleaseVersion(bool usePublic)
{
    if (usePublic && !publicRelease.isEmpty()) {
        return publicRelease;
    }
    return release.isEmpty() ? publicRelease : CoreApplication::applicationVersion();
}

QString PackageInfo::timeToString(Qt::DateFormat format)
{
    if (releaseDate.time() == QTime(0, 0)) {
        return releaseDate.date().toString(format);
    }
    return releaseDate.toString(format);
}

QString PackageInfo::fileName()
{
    return QFileInfo(url.path(QUrl::FullyDecoded)).fileName();
}

QUrl PackageInfo::releaseNotesUrl(QString language, QString fallbackLanguage)
{
    return translatedUrl(releaseNotes, language, fallbackLanguage);
}

QUrl PackageInfo::readmeUrl(QString language, QString fallbackLanguage)
{
    return translatedUrl(readme, language, fallbackLanguage);
}

QUrl PackageInfo::translatedUrl(LinkMap urls, QString language, QString fallbackLanguage)
{
    const LinkMap& links = urls;
    for (const QString& wanted : {language.left(2), fallbackLanguage.left(2)}) {
        const auto found = links.constFind(wanted);
        if (found != links.cend()) {
            return *found;
        }
    }
    return links.isEmpty() ? QUrl() : links.first();
}

bool PackageInfo::isInstallable(QString packageSuffix)
{
    for (const char* known : {"zip", "exe", "msi"}) {
        if (packageSuffix.compare(QLatin1String(known), Qt::CaseInsensitive) == 0) {
            return true;
        }
    }
    return false;
}

// NOLINTEND(readability-make-member-function-const, performance-unnecessary-value-param)

bool PackageInfo::isInstallable() const
{
    return isInstallable(suffix);
}

int PackageInfo::compareVersion(const QString& a, const QString& b)
{
    return QString::compare(a, b, Qt::CaseSensitive);
}

int PackageInfo::compareRelease(const QString& a, const QString& b)
{
    return -QString::compare(a, b, Qt::CaseSensitive);
}

bool PackageInfo::isBetterMatch(const PackageInfo& other) const
{
    // The status is compared even if the release is smaller: a beta wins over a newer stable
    // release.
    return compareVersion(release, other.release) > 0 || compareRelease(status, other.status) > 0 ||
           other.releaseDate < releaseDate;
}

bool PackageInfo::matchesFilter(const PackageInfo& filter) const
{
    if (!filter.release.isEmpty() && compareVersion(release, filter.release) <= 0) {
        return false;
    }
    if (!filter.status.isEmpty() && compareVersion(status, filter.status) > 0) {
        return false;
    }
    if (!filter.releaseDate.isNull() && releaseDate < filter.releaseDate) {
        return false;
    }
    // A common language excludes the package: the filter names the languages that the user has
    // already.
    return filter.languages.isEmpty() || !StringUtils::intersectsWith(languages, filter.languages);
}

bool PackageInfo::filterPackageCandidate(const PackageInfo& product,
                                         const QStringList& suffixes) const
{
    return CandidateFilter(product, suffixes).accepts(*this, VersionNumber(release.toStdWString()));
}

bool PackageInfo::matchesPackage(const QString& typeText, const QString& nameText) const
{
    return typeText.contains(typeText, Qt::CaseInsensitive) &&
           nameText.contains(nameText, Qt::CaseInsensitive);
}

QStringList PackageInfo::allTypes(const PackageInfoList& packages, bool translate)
{
    return collectTexts(packages, &PackageInfo::type, translate);
}

QStringList PackageInfo::allReleases(const PackageInfoList& packages, bool translate)
{
    return collectTexts(packages, &PackageInfo::release, translate);
}

QStringList PackageInfo::allLanguages(const PackageInfoList& packages, bool /*translate*/)
{
    return collectSets(packages, &PackageInfo::languages);
}

QStringList PackageInfo::allPlatforms(const PackageInfoList& packages, bool /*translate*/)
{
    return collectSets(packages, &PackageInfo::platforms);
}

} // namespace zk

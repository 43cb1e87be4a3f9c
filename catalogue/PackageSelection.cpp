#include "catalogue/PackageSelection.h"

#include "catalogue/CandidateFilter.h"
#include "catalogue/Vocabulary.h"

#include <algorithm>
#include <vector>

namespace zk::PackageSelection {

namespace {

constexpr qint32 knownFlag = 1;

/** Key of a package in a set: the values that PackageInfo::operator== compares. */
struct Identity
{
    const PackageInfo* package;
};

bool operator==(const Identity& a, const Identity& b)
{
    return *a.package == *b.package;
}

// Coarser than the comparison: hashing the texts would take longer than the rest of the search.
uint qHash(const Identity& identity, uint seed)
{
    const QDateTime& date = identity.package->releaseDate;
    // All dates that are not valid are written alike, those of an hour that a time zone skips too.
    const quint64 second = date.isValid() ? quint64(date.date().toJulianDay()) * 86400U +
                                                quint64(date.time().msecsSinceStartOfDay() / 1000)
                                          : 0;
    return ::qHash(qMakePair(second, identity.package->fileSize), seed);
}

/** Finds the greatest version and its spelling. */
class NewestRelease
{
public:
    void consider(const QString& release, const VersionNumber& version)
    {
        if (version > m_version) {
            m_text = release;
            m_version = version;
        }
    }
    [[nodiscard]] const QString& text() const { return m_text; }

private:
    QString m_text = QStringLiteral("0");
    VersionNumber m_version{L"0"};
};

PackageInfo reference(const QString& name, const VersionNumber& version, const QString& status,
                      const QSet<QString>& platforms)
{
    return PackageInfo(QString(), name, QString::fromStdWString(version.toString()), status,
                       QDateTime(), platforms, {}, QString(), QString());
}

} // namespace

PackageInfoList findCandidates(PackageInfoList& packages, const PackageInfo& product,
                               const QString& type, const QStringList& suffixes)
{
    std::vector<const PackageInfo*> accepted;
    const CandidateFilter filter(product, suffixes);
    NewestRelease newest;
    for (PackageInfo& package : packages) {
        const VersionNumber version(package.release.toStdWString());
        if (filter.accepts(package, version)) {
            package.type = type;
            newest.consider(package.release, version);
            accepted.push_back(&package);
        }
    }
    // By text: of two spellings of one version only the first is kept.
    PackageInfoList candidates;
    for (const PackageInfo* package : accepted) {
        if (package->release == newest.text()) {
            candidates.append(*package);
        }
    }
    return candidates;
}

bool isCameraFirmware(const PackageInfo& package)
{
    return package.type == QLatin1String(Vocabulary::typeCameraFirmware);
}

QString wantedStatus(bool includeBeta)
{
    // An empty status for users who want beta versions: they are offered the stable ones too.
    return includeBeta ? QString() : QString(QLatin1String(Vocabulary::statusStable));
}

PackageInfoList findUpdates(PackageInfoList& packages,
                            const SoftwareUpdate::SoftwareUpdateSettings& settings)
{
    const QString status = wantedStatus(settings.includeBeta);
    PackageInfoList cameras;
    for (const auto& camera : settings.cameraVersions) {
        cameras +=
            findCandidates(packages, reference(QString(), camera.second, status, {camera.first}),
                           QLatin1String(Vocabulary::typeCameraFirmware), QStringList());
    }
    eliminateDuplicates(cameras);
    const QSet<QString> platforms(settings.platforms.cbegin(), settings.platforms.cend());
    return findCandidates(packages,
                          reference(settings.productName, settings.version, status, platforms),
                          QLatin1String(Vocabulary::typeApplication), settings.packageSuffixes) +
           cameras;
}

PackageInfoList findBestMatches(const PackageInfoList& packages, const PackageInfo& filter)
{
    QMap<QString, const PackageInfo*> best;
    for (const PackageInfo& package : packages) {
        if (!package.matchesFilter(filter)) {
            continue;
        }
        for (const QString& platform : package.platforms) {
            const PackageInfo*& current = best[package.type + QLatin1Char('/') + platform];
            if (!current || package.isBetterMatch(*current)) {
                current = &package;
            }
        }
    }
    PackageInfoList matches;
    QSet<const PackageInfo*> taken;
    for (const PackageInfo* package : qAsConst(best)) {
        if (!taken.contains(package)) {
            taken.insert(package);
            matches.append(*package);
        }
    }
    return matches;
}

void eliminateDuplicates(PackageInfoList& packages)
{
    if (packages.size() < 2) {
        return;
    }
    std::vector<int> kept;
    kept.reserve(size_t(packages.size()));
    QSet<Identity> seen;
    seen.reserve(packages.size());
    for (int i = 0; i < packages.size(); ++i) {
        const int before = seen.size();
        seen.insert({&qAsConst(packages)[i]});
        if (seen.size() > before) {
            kept.push_back(i);
        }
    }
    if (int(kept.size()) == packages.size()) {
        return;
    }
    // In place: building a second list would double the time.
    int end = 0;
    for (const int index : kept) {
        packages.swapItemsAt(end++, index);
    }
    packages.erase(packages.begin() + end, packages.end());
}

void markKnown(PackageInfoList& packages)
{
    for (PackageInfo& package : packages) {
        package.flags |= knownFlag;
    }
}

int countNew(const PackageInfoList& packages)
{
    return int(std::count_if(packages.cbegin(), packages.cend(), [](const PackageInfo& package) {
        return (package.flags & knownFlag) == 0;
    }));
}

} // namespace zk::PackageSelection

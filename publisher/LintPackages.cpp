// Checks packages against each other.

#include "publisher/LintRules.h"

#include "catalogue/PackageSelection.h"
#include "catalogue/Vocabulary.h"
#include "support/VersionNumber.h"

#include <QHash>
#include <QMap>
#include <QSet>

#include <map>

namespace publisher {

namespace {

using namespace zk;
using PackageSelection::isCameraFirmware;

void checkTwins(const std::vector<PackageSource>& packages, Report& report)
{
    QHash<QString, const PackageSource*> first;
    for (const PackageSource& package : packages) {
        PackageInfo info = package.info;
        const QString identity = info.stringID();
        if (info.releaseDate.isNull() || info.fileSize == 0) {
            continue; // reported already
        }
        const PackageSource* const twin = first.value(identity);
        if (!twin) {
            first.insert(identity, &package);
            continue;
        }
        const bool isCounted = isCameraFirmware(package.info) && isCameraFirmware(twin->info);
        report.add(isCounted ? Finding::eError : Finding::eWarning, package.element->offset,
                   "counts-as-one",
                   (isCounted ? QStringLiteral("date and size are those of \"%1\": a camera that "
                                               "both are for is offered only the first")
                              : QStringLiteral("date and size are those of \"%1\": clients "
                                               "treat both as the same package"))
                       .arg(twin->info.url.fileName()));
    }
}

void checkModels(const std::vector<PackageSource>& packages, Report& report)
{
    // In sorted order a text comes directly before those that begin with it.
    QMap<QString, const PackageSource*> models;
    for (const PackageSource& package : packages) {
        for (const QString& platform : package.info.platforms) {
            if (!models.contains(platform)) {
                models.insert(platform, &package);
            }
        }
    }
    QStringList beginnings;
    for (auto it = models.cbegin(); it != models.cend(); ++it) {
        while (!beginnings.isEmpty() && !it.key().startsWith(beginnings.last())) {
            beginnings.removeLast();
        }
        if (!beginnings.isEmpty()) {
            report.add(Finding::eWarning, it.value()->offset(Vocabulary::platform),
                       "platform-prefix",
                       QStringLiteral("\"%1\" begins with \"%2\": what is for one is offered to "
                                      "the other")
                           .arg(it.key(), beginnings.last()));
        }
        beginnings << it.key();
    }
}

void checkSpellings(const std::vector<PackageSource>& packages, Report& report)
{
    // Per product, the newest version and the first spelling of it.
    struct Newest
    {
        VersionNumber version;
        QString text;
    };
    std::map<QString, Newest> newest;
    for (const PackageSource& package : packages) {
        const VersionNumber version(package.info.release.toStdWString());
        Newest& known = newest[package.info.name];
        if (known.text.isEmpty() || version > known.version) {
            known = {version, package.info.release};
        }
    }
    for (const PackageSource& package : packages) {
        const Newest& known = newest[package.info.name];
        if (package.info.release != known.text && known.version > VersionNumber() &&
            VersionNumber(package.info.release.toStdWString()) == known.version) {
            report.add(Finding::eError, package.offset(Vocabulary::releaseVersion), "two-spellings",
                       QStringLiteral("\"%1\" and \"%2\" are one version: only packages with the "
                                      "first spelling are offered")
                           .arg(package.info.release, known.text));
        }
    }
}

} // namespace

void checkPackages(const std::vector<PackageSource>& packages, Report& report)
{
    checkTwins(packages, report);
    checkModels(packages, report);
    checkSpellings(packages, report);
}

} // namespace publisher

#pragma once

#include "catalogue/PackageInfo.h"
#include "types/SoftwareUpdateTypes.h"

namespace zk::PackageSelection {

/**
 * Those of @p packages that may update @p product and have the newest release, in list order. Sets
 * the type of every package that may update it to @p type, in @p packages itself.
 */
PackageInfoList findCandidates(PackageInfoList& packages, const PackageInfo& product,
                               const QString& type, const QStringList& suffixes);

/** Whether a package is camera firmware. */
bool isCameraFirmware(const PackageInfo& package);

/** The status that packages must have; empty for users who want beta releases too. */
QString wantedStatus(bool includeBeta);

/**
 * The updates for a host with these @p settings: the product's candidates, followed by those of its
 * cameras without duplicates. Sets the types of @p packages like findCandidates().
 */
PackageInfoList findUpdates(PackageInfoList& packages,
                            const SoftwareUpdate::SoftwareUpdateSettings& settings);

/** The best package per type and platform among those that pass @p filter, in no particular order.
 */
PackageInfoList findBestMatches(const PackageInfoList& packages, const PackageInfo& filter);

/** Removes every package that equals an earlier one. */
void eliminateDuplicates(PackageInfoList& packages);

/** Sets the mark of packages that came from a stored document. */
void markKnown(PackageInfoList& packages);

/** The number of packages without that mark. */
int countNew(const PackageInfoList& packages);

} // namespace zk::PackageSelection

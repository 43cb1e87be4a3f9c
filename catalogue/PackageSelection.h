#pragma once

#include "catalogue/PackageInfo.h"
#include "types/SoftwareUpdateTypes.h"

namespace zk::PackageSelection {

/**
 * The packages of the one newest release among those of @p packages that may update @p product, in
 * list order. Every package that may update it gets @p type as its type, in @p packages itself.
 */
PackageInfoList findCandidates(PackageInfoList& packages, const PackageInfo& product,
                               const QString& type, const QStringList& suffixes);

/** Whether a package is for cameras, and not for the host. */
bool isCameraFirmware(const PackageInfo& package);

/** The status that packages must have: none in particular for users who want beta releases too. */
QString wantedStatus(bool includeBeta);

/**
 * What a host with these @p settings is offered: the product's candidates, then those of its
 * cameras without duplicates. Sets the types of @p packages as findCandidates() does.
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

/** How many packages do not carry that mark. */
int countNew(const PackageInfoList& packages);

} // namespace zk::PackageSelection

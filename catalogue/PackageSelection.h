#pragma once

#include "catalogue/PackageInfo.h"

namespace zk::PackageSelection {

/**
 * The packages of the one newest release among those of @p packages that may update @p product, in
 * list order. Every package that may update it gets @p type as its type, in @p packages itself.
 */
PackageInfoList findCandidates(PackageInfoList& packages, const PackageInfo& product,
                               const QString& type, const QStringList& suffixes);

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

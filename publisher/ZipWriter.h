#pragma once

#include "publisher/PackageTree.h"

#include <QDateTime>

#include <functional>

namespace publisher {

/** Called with the part that is done, from 0 to 1. */
using PackProgress = std::function<void(double)>;

/** Whether archives can have the time @p utc: their years are 1980 to 2107. */
[[nodiscard]] bool isZipTime(const QDateTime& utc);

/**
 * Packs @p tree in its order into the file @p path, which is replaced at the end, when it has
 * passed all checks that clients make. Every entry gets the time @p utc, so the same tree becomes
 * the same bytes. Returns the error, if any.
 */
[[nodiscard]] QString writeZip(const QString& path, const PackageTree& tree, const QDateTime& utc,
                               const PackProgress& progress);

} // namespace publisher

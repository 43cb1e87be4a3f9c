#pragma once

#include "trust/PackageManifest.h"

#include <QtGlobal>

#include <vector>

namespace zk {

/** Consecutive bytes of an archive that are fetched together, and the files in them. */
struct ArchiveSection
{
    qint64 first = 0;
    qint64 size = 0;
    /** Positions in the manifest, in the order of their bytes. */
    std::vector<std::size_t> files;
};

/**
 * What to fetch of the archive for the files of @p manifest at the positions @p missing, which
 * ascend: as few requests as are worth their bytes.
 *
 * Bytes between files that nobody needs are fetched, too, where they are fewer than a request
 * costs: 64 KiB, or more when there would be more than 64 requests. A section of more than one file
 * has at most 64 MiB.
 */
[[nodiscard]] std::vector<ArchiveSection> planSections(const trust::PackageManifest& manifest,
                                                       const std::vector<std::size_t>& missing);

} // namespace zk

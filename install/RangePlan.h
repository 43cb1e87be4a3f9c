#pragma once

#include <QtGlobal>

#include <vector>

namespace zk {

/** Bytes of a file on the server, and the position in the manifest of what is made of them. */
struct WantedBytes
{
    qint64 first = 0;
    qint64 size = 0;
    std::size_t position = 0;
};

/** Consecutive bytes that are fetched together. */
struct FetchedSection
{
    qint64 first = 0;
    qint64 size = 0;
    /** In the order of their bytes. */
    std::vector<WantedBytes> parts;
};

/**
 * What to fetch for @p wanted, which ascends: as few requests as are worth their bytes.
 *
 * Bytes between that nobody needs are fetched, too, where they are fewer than a request costs: 64
 * KiB, or more when there would be more than 64 requests. A section of more than one part has at
 * most 64 MiB.
 */
[[nodiscard]] std::vector<FetchedSection> planSections(const std::vector<WantedBytes>& wanted);

} // namespace zk

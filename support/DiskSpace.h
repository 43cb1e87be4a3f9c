#pragma once

#include <QString>

#include <optional>
#include <vector>

namespace zk {

/** @p path itself if it is a folder, otherwise the nearest folder above it that exists. */
[[nodiscard]] QString existingFolder(const QString& path);

struct DiskSpace
{
    /** Bytes that this user may still write. */
    quint64 available;
    /** Size of a block; every file occupies whole blocks. */
    quint64 block;
};

/** Of the volume that holds, or would hold, @p path; nothing if the system does not report it. */
std::optional<DiskSpace> diskSpaceAt(const QString& path);

/** Why @p bytes cannot be written below @p folder, with both numbers; empty if they can, or if the
 * system does not tell. */
QString spaceComplaint(const QString& folder, qint64 bytes);

/**
 * The index of the first file that does not fit when files of @p sizes, none above 2^63, are
 * written one after the other; nothing when there is room for all.
 */
[[nodiscard]] std::optional<std::size_t> firstBeyond(const std::vector<quint64>& sizes,
                                                     const DiskSpace& space);

} // namespace zk

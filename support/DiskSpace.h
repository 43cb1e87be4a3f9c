#pragma once

#include <QString>

#include <optional>

namespace zk {

struct DiskSpace
{
    /** Bytes that this user may still write. */
    quint64 available;
    /** Every file takes whole blocks of so many bytes. */
    quint64 block;
};

/** Of the volume where @p path is or would be created; nothing when the system does not say. */
std::optional<DiskSpace> diskSpaceAt(const QString& path);

} // namespace zk

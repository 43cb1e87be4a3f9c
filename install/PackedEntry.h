#pragma once

#include "trust/PackageManifest.h"

#include <QtGlobal>

#include <atomic>
#include <functional>

class QFile;

namespace zk {

/**
 * The packed bytes of one file of an archive, which have been fetched. Functions end soon, with
 * false, when @p isCancelled becomes true.
 */
class PackedEntry final
{
public:
    /** The bytes of @p file begin at @p offset of @p section. Both must outlive it. */
    PackedEntry(QFile& section, qint64 offset, const trust::ManifestFile& file);

    /** Whether the packed bytes have their hash. */
    [[nodiscard]] bool isRight(const std::atomic<bool>& isCancelled) const;
    /** Writes the contents to @p target; false if they are not those of the manifest. Never writes
     * more than they should have. */
    [[nodiscard]] bool unpack(QFile& target, const std::atomic<bool>& isCancelled) const;

private:
    using Taker = std::function<bool(const char* data, qint64 size)>;

    QFile& m_section;
    const qint64 m_offset;
    const trust::ManifestFile& m_file;

    [[nodiscard]] bool read(const std::atomic<bool>& isCancelled, const Taker& take) const;
    [[nodiscard]] bool inflate(const std::atomic<bool>& isCancelled, const Taker& take) const;
};

} // namespace zk

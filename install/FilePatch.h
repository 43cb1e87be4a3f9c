#pragma once

#include "trust/PackageManifest.h"

#include <QByteArray>
#include <QtGlobal>

#include <atomic>

class QFile;
class QString;

namespace zk {

/**
 * Writes to @p target the file that @p patch makes of the one at @p oldPath: a frame of zstd that
 * refers to the old file (RFC 8878; ZSTD_DCtx_refPrefix). False if the result is not @p file, which
 * never becomes larger, or if @p isCancelled becomes true.
 *
 * Takes as much memory as the old file has and a window of the size of the new one, at most
 * trust::maximumPatchMemory. @p patch has its right hash; nothing else is trusted.
 */
[[nodiscard]] bool applyPatch(const QByteArray& patch, const QString& oldPath,
                              const trust::ManifestFile& file, QFile& target,
                              const std::atomic<bool>& isCancelled);

} // namespace zk

#pragma once

#include "trust/PackageManifest.h"

#include <QHash>
#include <QString>

#include <atomic>

namespace zk {

/** Files by their contents, which the bytes of a BLAKE2b-256 hash stand for. */
using ContentPaths = QHash<QByteArray, QString>;

/**
 * The files below @p folder whose sizes occur in @p manifest, as those of its files or of what its
 * patches are for, wherever they are: what was moved or renamed is found, too. Links are not
 * followed. Reads each of them; callable from any thread; ends soon, with what it has found, when
 * @p isCancelled becomes true.
 */
[[nodiscard]] ContentPaths installedContents(const QString& folder,
                                             const trust::PackageManifest& manifest,
                                             const std::atomic<bool>& isCancelled);

} // namespace zk

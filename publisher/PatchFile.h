#pragma once

#include "trust/PackageManifest.h"

#include <QByteArray>
#include <QString>

#include <variant>
#include <vector>

namespace publisher {

/** One patch in a file of patches, and the hash of what it makes. */
struct PatchRecord
{
    trust::ManifestPatch patch;
    trust::Blake2b256::Digest newHash{};
};

/**
 * What precedes a patch in the file: a skippable frame (RFC 8878, section 3.1.2) that says what the
 * patch is for, so that the file alone tells what it holds. The offset of @p record is not used.
 */
QByteArray patchHeader(const PatchRecord& record);

/** All patches in the file @p path, or the error. */
std::variant<std::vector<PatchRecord>, QString> readPatchFile(const QString& path);

/** Names the patches in the file beside the archive @p zipPath, if there is one, in @p manifest.
 * Returns the error, if any: also if a patch is for nothing in the archive. */
[[nodiscard]] QString addPatches(const QString& zipPath, trust::PackageManifest& manifest);

} // namespace publisher

#pragma once

#include "trust/PackageManifest.h"

#include <QString>
#include <QStringList>

namespace publisher {

/**
 * The manifest of the only folder at the top of a package, where it has no more than that, as it is
 * installed: with paths that begin below it; otherwise @p manifest.
 */
trust::PackageManifest belowOnlyFolder(trust::PackageManifest manifest);

/**
 * What of @p folder is not as @p manifest says, one sorted line for each file, folder, link or
 * executable bit; empty if it is exactly what is in the package.
 *
 * Links are not followed. The installed manifest and its signature may be in the folder.
 */
QStringList differences(const QString& folder, const trust::PackageManifest& manifest);

} // namespace publisher

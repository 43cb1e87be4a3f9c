#pragma once

#include "trust/PackageManifest.h"

#include <QString>
#include <QStringList>

namespace publisher {

/**
 * What of @p folder is not as @p manifest says, one sorted line for each file, folder, link or
 * executable bit; empty if it is exactly what is in the package.
 *
 * Links are not followed. The installed manifest and its signature may be in the folder.
 */
QStringList differences(const QString& folder, const trust::PackageManifest& manifest);

} // namespace publisher

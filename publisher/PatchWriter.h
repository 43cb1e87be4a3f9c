#pragma once

#include "trust/PackageManifest.h"

#include <QString>
#include <QStringList>

#include <functional>
#include <variant>
#include <vector>

namespace publisher {

/** What users of one older package fetch. */
struct UpdateCost
{
    QString oldPackage;
    qint64 archive = 0;
    /** Bytes of the archive that have changed, without and with patches, and the requests. */
    qint64 changed = 0;
    qint64 patched = 0;
    int requests = 0;
    int patches = 0;
};

/** Called with the name of the file that is being compared. */
using PatchProgress = std::function<void(const QString& path)>;

/**
 * Writes patches for what has changed of the files of @p oldPackages to the file beside the ZIP
 * package @p newPackage, which is replaced at the end: the costs, or the error. A patch is left out
 * if it has not less than four fifths of the entry's bytes. Needs as much memory as the two largest
 * files.
 */
std::variant<std::vector<UpdateCost>, QString> writePatches(const QStringList& oldPackages,
                                                            const QString& newPackage, int level,
                                                            const PatchProgress& progress);

} // namespace publisher

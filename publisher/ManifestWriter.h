#pragma once

#include "trust/PackageManifest.h"

#include <QString>
#include <QStringList>

#include <variant>

namespace publisher {

/** What a package is, as the update document says it. */
struct PackageIdentity
{
    QString product;
    QStringList platforms;
    QString release;
};

/** Whether a manifest names the patches in the file beside the package. */
enum class Patches { eNamed, eIgnored };

/**
 * The manifest of the ZIP package in the file @p zipPath, which clients accept, or the error.
 *
 * Every entry is read from the offset that the manifest names, inflated and compared with its
 * checksum. Needs little memory, whatever the package's size.
 */
std::variant<trust::PackageManifest, QString> manifestOf(const QString& zipPath,
                                                         const PackageIdentity& identity,
                                                         Patches patches = Patches::eNamed);

} // namespace publisher

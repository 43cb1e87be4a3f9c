#pragma once

#include "publisher/ManifestWriter.h"

#include "catalogue/PackageInfo.h"

#include <QStringList>

#include <variant>
#include <vector>

namespace publisher {

/** A package to sign. */
struct SigningJob
{
    QString file;
    /** Only the release counts if there is no manifest. */
    PackageIdentity identity;
    bool isWithManifest = false;
    /** Why a ZIP package has no manifest; empty for other packages. */
    QString noManifest;
};

using SigningPlan = std::vector<SigningJob>;

/** What to sign if all files are packages of the same product and release. */
SigningPlan planFor(const QStringList& files, const PackageIdentity& identity);

/**
 * What to sign if @p published are the packages of a document; the error if a file is not among
 * them or has several releases.
 */
std::variant<SigningPlan, QString> planFor(const QStringList& files,
                                           const zk::PackageInfoList& published);

} // namespace publisher

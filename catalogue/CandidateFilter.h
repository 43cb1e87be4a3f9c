#pragma once

#include "catalogue/PackageInfo.h"
#include "support/VersionNumber.h"

namespace zk {

/**
 * Whether packages may be offered as an update for one product.
 *
 * Holds what is known of the product, so that a long list of packages does not parse it anew each
 * time.
 */
class CandidateFilter
{
public:
    /** Keeps references: both arguments must live as long as the filter. */
    CandidateFilter(const PackageInfo& product, const QStringList& suffixes);

    /**
     * Whether @p package has the product's name and status, a version newer than the product's, one
     * of its platforms and one of the suffixes; empty fields and an empty list impose nothing.
     * @p version is the package's release.
     */
    [[nodiscard]] bool accepts(const PackageInfo& package, const VersionNumber& version) const;

private:
    const PackageInfo& m_product;
    const QStringList& m_suffixes;
    VersionNumber m_productVersion;
};

} // namespace zk

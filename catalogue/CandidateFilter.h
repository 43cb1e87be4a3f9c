#pragma once

#include "catalogue/PackageInfo.h"
#include "support/VersionNumber.h"

namespace zk {

/**
 * Decides whether packages may be offered as an update for one product.
 *
 * Keeps the parsed product data, so it is not parsed again for each package of a long list.
 */
class CandidateFilter
{
public:
    /** Keeps references: both arguments must outlive the filter. */
    CandidateFilter(const PackageInfo& product, const QStringList& suffixes);

    /**
     * Whether @p package has the product's name and status, a newer version than the product, one
     * of its platforms and one of the suffixes; empty fields and an empty list match everything. @p
     * version is the package's release.
     */
    [[nodiscard]] bool accepts(const PackageInfo& package, const VersionNumber& version) const;

private:
    const PackageInfo& m_product;
    const QStringList& m_suffixes;
    VersionNumber m_productVersion;
};

} // namespace zk

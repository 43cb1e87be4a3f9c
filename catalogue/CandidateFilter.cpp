#include "catalogue/CandidateFilter.h"

#include "support/StringUtils.h"

namespace zk {

CandidateFilter::CandidateFilter(const PackageInfo& product, const QStringList& suffixes)
    : m_product(product)
    , m_suffixes(suffixes)
    , m_productVersion(product.release.toStdWString())
{
}

bool CandidateFilter::accepts(const PackageInfo& package, const VersionNumber& version) const
{
    if (!m_product.name.isEmpty() && package.name != m_product.name) {
        return false;
    }
    if (!m_product.release.isEmpty() && version <= m_productVersion) {
        return false;
    }
    if (!m_product.status.isEmpty() && package.status != m_product.status) {
        return false;
    }
    if (!m_product.platforms.isEmpty() &&
        !StringUtils::intersectsOnBeginning(m_product.platforms, package.platforms)) {
        return false;
    }
    return m_suffixes.isEmpty() || m_suffixes.contains(package.suffix, Qt::CaseSensitive);
}

} // namespace zk

#include "install/RangePlan.h"

#include <algorithm>

namespace zk {

namespace {

constexpr qint64 smallGap = 64 * 1024;
constexpr std::size_t mostRanges = 64;
constexpr qint64 largestSection = 64LL * 1024 * 1024;

qint64 beginOf(const trust::ManifestFile& file)
{
    return qint64(file.offset);
}

qint64 endOf(const trust::ManifestFile& file)
{
    return qint64(file.offset + file.packedSize);
}

/** The largest gap to fetch, so that not too many ranges are left. */
qint64 largestGap(std::vector<qint64> gaps)
{
    if (gaps.size() < mostRanges) {
        return smallGap;
    }
    const auto last = gaps.end() - std::ptrdiff_t(mostRanges);
    std::nth_element(gaps.begin(), last, gaps.end());
    return std::max(smallGap, *last);
}

} // namespace

std::vector<ArchiveSection> planSections(const trust::PackageManifest& manifest,
                                         const std::vector<std::size_t>& missing)
{
    std::vector<qint64> gaps;
    for (std::size_t i = 1; i < missing.size(); ++i) {
        gaps.push_back(beginOf(manifest.files[missing[i]]) - endOf(manifest.files[missing[i - 1]]));
    }
    const qint64 mostFetched = largestGap(gaps);
    std::vector<ArchiveSection> sections;
    for (const std::size_t index : missing) {
        const trust::ManifestFile& file = manifest.files[index];
        ArchiveSection* const last = sections.empty() ? nullptr : &sections.back();
        const bool isNear = last && beginOf(file) - last->first - last->size <= mostFetched &&
                            endOf(file) - last->first <= largestSection;
        if (!isNear) {
            sections.push_back({beginOf(file), endOf(file) - beginOf(file), {index}});
            continue;
        }
        last->size = endOf(file) - last->first;
        last->files.push_back(index);
    }
    return sections;
}

} // namespace zk

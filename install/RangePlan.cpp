#include "install/RangePlan.h"

#include <algorithm>

namespace zk {

namespace {

constexpr qint64 smallGap = 64LL * 1024;
constexpr std::size_t mostRanges = 64;
constexpr qint64 largestSection = 64LL * 1024 * 1024;

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

std::vector<FetchedSection> planSections(const std::vector<WantedBytes>& wanted)
{
    std::vector<qint64> gaps;
    for (std::size_t i = 1; i < wanted.size(); ++i) {
        gaps.push_back(wanted[i].first - wanted[i - 1].first - wanted[i - 1].size);
    }
    const qint64 mostFetched = largestGap(gaps);
    std::vector<FetchedSection> sections;
    for (const WantedBytes& part : wanted) {
        FetchedSection* const last = sections.empty() ? nullptr : &sections.back();
        const qint64 end = part.first + part.size;
        const bool isNear = last && part.first - last->first - last->size <= mostFetched &&
                            end - last->first <= largestSection;
        if (!isNear) {
            sections.push_back({part.first, part.size, {part}});
            continue;
        }
        last->size = std::max(last->size, end - last->first);
        last->parts.push_back(part);
    }
    return sections;
}

} // namespace zk

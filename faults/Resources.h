#pragma once

#include <QStringList>

namespace zk::faults {

/** How much slower a sanitizer makes everything; 1 without one. */
int slowness();

/** What this process holds of the system. */
struct Resources
{
    /** What its descriptors are of, sorted; numbers that change all the time left out. */
    QStringList descriptors;
    int threads = 0;

    static Resources now();
    /** What is here and not in @p before. */
    [[nodiscard]] QStringList beyond(const Resources& before) const;
};

/** Makes the heap give large blocks back at once: what it keeps for later looks like a leak. */
void returnLargeBlocks();

/** Resident memory in KiB, after what is free has been given back. */
long residentKb();

} // namespace zk::faults

#pragma once

#include <QStringList>

namespace zk::faults {

/** The slow-down by a sanitizer; 1 without one. */
int slowness();

/** The system resources of this process. */
struct Resources
{
    /** The targets of its descriptors, sorted, without changing numbers. */
    QStringList descriptors;
    int threads = 0;

    static Resources now();
    /** The resources that are not in @p before. */
    [[nodiscard]] QStringList beyond(const Resources& before) const;
};

/** Makes the heap release large blocks immediately: cached blocks look like a leak. */
void returnLargeBlocks();

/** Resident memory in KiB, after free memory has been released. */
long residentKb();

} // namespace zk::faults

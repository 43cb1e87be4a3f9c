#pragma once

#include <QtGlobal>

#include <limits>

namespace zk {

/** How many bytes one step of a progress bar stands for, whose numbers end at 2^31 - 1. */
constexpr qint64 progressScale(qint64 total)
{
    qint64 scale = 1;
    while (total / scale > std::numeric_limits<int>::max()) {
        scale *= 1024;
    }
    return scale;
}

} // namespace zk

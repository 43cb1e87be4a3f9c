#pragma once

#include <QString>

#include <algorithm>
#include <cstdio>
#include <vector>

/**
 * Prints one line of the table at the end of `./run bench`: what was measured, ours, the reference,
 * and their relation. scripts/bench.sh filters these lines from the output.
 */
inline void printFigure(const QString& what, const QString& ours, const QString& other = QString(),
                        const QString& relation = QString())
{
    std::printf("\nFIGURE|%s|%s|%s|%s\n", qUtf8Printable(what), qUtf8Printable(ours),
                qUtf8Printable(other), qUtf8Printable(relation));
    std::fflush(stdout);
}

inline QString milliseconds(double value)
{
    return QStringLiteral("%1 ms").arg(value, 0, 'f', value < 10 ? 2 : 0);
}

inline double median(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

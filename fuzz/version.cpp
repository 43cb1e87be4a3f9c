// Version numbers: any two texts must have a consistent order.

#include "support/VersionNumber.h"

#include <QString>

#include <cstddef>
#include <cstdint>
#include <cstdlib>

namespace {

void require(bool condition)
{
    if (!condition) {
        std::abort();
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const QString text = QString::fromUtf8(reinterpret_cast<const char*>(data), int(size));
    const zk::VersionNumber a(text.section(QLatin1Char('|'), 0, 0).toStdWString());
    const zk::VersionNumber b(text.section(QLatin1Char('|'), 1, 1).toStdWString());
    const zk::VersionNumber c(text.section(QLatin1Char('|'), 2, 2).toStdWString());
    require(int(a < b) + int(b < a) + int(a == b) == 1);
    require((a != b) == !(a == b) && (a <= b) == !(b < a) && (a > b) == (b < a));
    require(!(a < b && b < c) || a < c);
    require(!(a == b && b == c) || a == c);
    require(zk::VersionNumber(a.toString()) == a);
    (void)a.toShortVersion();
    return 0;
}

#include "support/DeviceNames.h"

#include <QStringList>

namespace zk {

bool isDeviceName(const QString& name)
{
    static const QStringList devices{QStringLiteral("con"),    QStringLiteral("prn"),
                                     QStringLiteral("aux"),    QStringLiteral("nul"),
                                     QStringLiteral("clock$"), QStringLiteral("conin$"),
                                     QStringLiteral("conout$")};
    const QString stem = name.section(QLatin1Char('.'), 0, 0).trimmed().toLower();
    if (devices.contains(stem)) {
        return true;
    }
    // Superscript digits number a port as well.
    return stem.size() == 4 && stem.at(3).digitValue() >= 0 &&
           (stem.startsWith(QLatin1String("com")) || stem.startsWith(QLatin1String("lpt")));
}

} // namespace zk

#include "install/DownloadTarget.h"

#include <QStringList>

namespace zk {

namespace {

// With the extension, if any: Windows takes "con.exe" for the console as well.
bool isDeviceName(const QString& name)
{
    static const QStringList devices{QStringLiteral("con"),    QStringLiteral("prn"),
                                     QStringLiteral("aux"),    QStringLiteral("nul"),
                                     QStringLiteral("conin$"), QStringLiteral("conout$")};
    const QString stem = name.section(QLatin1Char('.'), 0, 0).trimmed().toLower();
    const bool isNumbered = stem.size() == 4 && (stem.startsWith(QLatin1String("com")) ||
                                                 stem.startsWith(QLatin1String("lpt")));
    return devices.contains(stem) || isNumbered;
}

QString safeComponent(QString name)
{
    constexpr int maximumLength = 120;
    for (QChar& c : name) {
        const bool isForbidden =
            c.unicode() < 0x20 || c.unicode() == 0x7f || QStringLiteral("<>:\"/\\|?*").contains(c);
        c = isForbidden ? QLatin1Char('_') : c;
    }
    // From the right: the suffix decides what becomes of the file.
    name = name.right(maximumLength);
    while (name.endsWith(QLatin1Char('.')) || name.endsWith(QLatin1Char(' '))) {
        name.chop(1);
    }
    return isDeviceName(name) ? QString() : name.trimmed();
}

} // namespace

QString downloadFileName(const QUrl& url, const QString& suffix)
{
    const QString last =
        url.toString().section(QLatin1Char('/'), -1, -1, QString::SectionSkipEmpty);
    const QString name = safeComponent(last);
    return name.isEmpty() ? QStringLiteral("package.") + safeComponent(suffix) : name;
}

} // namespace zk

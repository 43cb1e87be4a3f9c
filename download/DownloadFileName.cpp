#include "download/DownloadFileName.h"

#include "trust/EntryName.h"

namespace zk {

QString safeFileName(QString name)
{
    // Linux counts bytes, of which one of these takes up to three: 255 hold no more.
    constexpr int maximumLength = 80;
    for (QChar& c : name) {
        const bool isForbidden =
            c.unicode() < 0x20 || c.unicode() == 0x7f || QStringLiteral("<>:\"/\\|?*").contains(c);
        c = isForbidden ? QLatin1Char('_') : c;
    }
    // From the right: the suffix decides what becomes of the file.
    name = name.right(maximumLength);
    while (name.endsWith(QLatin1Char('.')) || name.endsWith(QLatin1Char(' ')) ||
           name != name.trimmed()) {
        name = name.trimmed();
        name.chop(name.endsWith(QLatin1Char('.')) ? 1 : 0);
    }
    return trust::isDeviceName(name.toStdString()) ? QString() : name;
}

QString downloadFileName(const QUrl& url, const QString& suffix)
{
    const QString last =
        url.toString().section(QLatin1Char('/'), -1, -1, QString::SectionSkipEmpty);
    QString name = safeFileName(last);
    if (!name.isEmpty()) {
        return name;
    }
    // The suffix comes from the server as well, and may be nothing but blanks and dots.
    QString fallback = safeFileName(QStringLiteral("package.") + suffix);
    return fallback.isEmpty() ? QStringLiteral("package") : fallback;
}

} // namespace zk

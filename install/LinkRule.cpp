#include "install/LinkRule.h"

namespace zk {

bool isOpenableLink(const QUrl& url)
{
    const QString scheme = url.scheme().toLower();
    if (scheme == QLatin1String("file")) {
        // "file:////host/share" names a host as well, in its path.
        const QString path = url.path(QUrl::FullyDecoded);
        return url.host().isEmpty() && !path.startsWith(QLatin1String("//")) &&
               !path.contains(QLatin1Char('\\'));
    }
    return scheme == QLatin1String("http") || scheme == QLatin1String("https") ||
           scheme == QLatin1String("ftp");
}

QString logText(const QUrl& url)
{
    return url.toString(QUrl::RemovePassword);
}

} // namespace zk

#include "support/LinkRule.h"

#include <QRegularExpression>

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

QNetworkReply::NetworkError redirectError(const QUrl& from, const QUrl& to)
{
    const QString scheme = to.scheme().toLower();
    if (scheme == QLatin1String("file")) {
        return QNetworkReply::ProtocolUnknownError;
    }
    const bool isDowngrade = from.scheme().toLower() == QLatin1String("https") &&
                             (scheme == QLatin1String("http") || scheme == QLatin1String("ftp"));
    return isDowngrade ? QNetworkReply::InsecureRedirectError : QNetworkReply::NoError;
}

QString logText(const QUrl& url)
{
    return url.toString(QUrl::RemoveUserInfo);
}

QString withoutCredentials(QString text, const QUrl& url)
{
    if (url.userInfo().isEmpty()) {
        return text;
    }
    // Qt writes an address in more than one way, but never a bare slash into the user information.
    const QRegularExpression credentials(
        QStringLiteral("(?<=%1://)[^/?#]*@(?=%2)")
            .arg(QRegularExpression::escape(url.scheme()), QRegularExpression::escape(url.host())),
        QRegularExpression::CaseInsensitiveOption);
    return text.remove(credentials);
}

} // namespace zk

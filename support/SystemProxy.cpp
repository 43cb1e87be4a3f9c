#include "support/SystemProxy.h"

#include "support/Log.h"

#include <QUrl>

namespace zk {

QNetworkProxy systemProxy(const QString& url, const ProxyLookup& lookup)
{
    // Through Latin-1 on purpose: what it cannot hold becomes a question mark before the URL is
    // parsed.
    const QUrl parsed(QString::fromLatin1(url.toLatin1()), QUrl::TolerantMode);
    const QList<QNetworkProxy> proxies =
        lookup(QNetworkProxyQuery(parsed, QNetworkProxyQuery::UrlRequest));
    if (proxies.isEmpty()) {
        return QNetworkProxy(QNetworkProxy::NoProxy);
    }
    const QNetworkProxy& proxy = proxies.first();
    SOFTWAREUPDATE_LOG(Log::eInfo, "zk::SoftwareUpdateClient::networkProxy",
                       "Proxy: ", proxy.hostName(), ":", proxy.port(), " (", int(proxy.type()),
                       ")");
    return proxy;
}

} // namespace zk

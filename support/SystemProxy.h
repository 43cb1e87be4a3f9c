#pragma once

#include <QNetworkProxy>

#include <functional>

namespace zk {

/** Asks the system for the proxies to use, best first. */
using ProxyLookup = std::function<QList<QNetworkProxy>(const QNetworkProxyQuery& query)>;

/** The first proxy that the system names for @p url, logged; a direct connection when it names
 * none. */
QNetworkProxy systemProxy(const QString& url,
                          const ProxyLookup& lookup = QNetworkProxyFactory::systemProxyForQuery);

} // namespace zk

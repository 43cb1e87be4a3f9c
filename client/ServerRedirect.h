#pragma once

#include <QNetworkReply>
#include <QUrl>

/** Redirects that the update server answers with. */
namespace zk::ServerRedirect {

/** Whether @p reply is an answer that a check follows: 301, 302, 303 or 307. */
bool isRedirect(const QNetworkReply& reply);

/** Where @p reply leads, as the server wrote it; empty if it is no redirect or names no target. */
QUrl target(const QNetworkReply& reply);

/** What to tell the user of a redirect that must not be followed, which is logged; empty if it may
 * be. */
QString refusal(const QUrl& from, const QUrl& to);

} // namespace zk::ServerRedirect

#pragma once

#include <QNetworkReply>
#include <QUrl>

namespace zk {

/** The HTTP status of @p reply, 0 where there is none. */
[[nodiscard]] int httpStatus(const QNetworkReply& reply);

/** Whether @p reply leads elsewhere (301, 302, 303, 307, 308); one without a target ends a download
 * like any other answer. */
[[nodiscard]] bool isRedirect(const QNetworkReply& reply);

/** Where the redirect @p reply leads. */
[[nodiscard]] QUrl redirectTarget(const QNetworkReply& reply);

/** Why a download must not follow from @p from to @p to, which is logged; NoError when it may. */
[[nodiscard]] QNetworkReply::NetworkError redirectRefusal(const QUrl& from, const QUrl& to);

} // namespace zk

#include "client/ServerRedirect.h"

#include "support/LinkRule.h"
#include "support/Log.h"

#include <QCoreApplication>

namespace zk::ServerRedirect {

bool isRedirect(const QNetworkReply& reply)
{
    const int status = reply.attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
    return status == 302 || status == 301 || status == 303 || status == 307;
}

QUrl target(const QNetworkReply& reply)
{
    // Set even when the answer names no target, then to an empty address.
    return isRedirect(reply) ? reply.attribute(QNetworkRequest::RedirectionTargetAttribute).toUrl()
                             : QUrl();
}

QString refusal(const QUrl& from, const QUrl& to)
{
    if (redirectError(from, to) == QNetworkReply::NoError) {
        return QString();
    }
    SOFTWAREUPDATE_LOG(Log::eWarning, "zk::SoftwareUpdateClient::evaluateServerResponse",
                       "redirect is not followed: ", logText(to));
    if (to.scheme() == QLatin1String("file") && !isOpenableLink(to)) {
        // Windows would offer the user's credentials to the host that the server names.
        return QCoreApplication::translate("QNetworkAccessFileBackend",
                                           "Request for opening non-local file %1")
            .arg(logText(to));
    }
    return QCoreApplication::translate("QHttp", "Insecure redirect");
}

} // namespace zk::ServerRedirect

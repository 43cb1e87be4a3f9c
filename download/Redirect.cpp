#include "download/Redirect.h"

#include "support/LinkRule.h"
#include "support/Log.h"

namespace zk {

int httpStatus(const QNetworkReply& reply)
{
    return reply.attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
}

bool isRedirect(const QNetworkReply& reply)
{
    const int status = httpStatus(reply);
    return (status == 301 || status == 302 || status == 303 || status == 307 || status == 308) &&
           !reply.attribute(QNetworkRequest::RedirectionTargetAttribute).isNull();
}

QUrl redirectTarget(const QNetworkReply& reply)
{
    const QUrl target = reply.attribute(QNetworkRequest::RedirectionTargetAttribute).toUrl();
    return target.isRelative() ? reply.url().resolved(target) : target;
}

QNetworkReply::NetworkError redirectRefusal(const QUrl& from, const QUrl& to)
{
    QNetworkReply::NetworkError refusal = redirectError(from, to);
    if (refusal == QNetworkReply::NoError && !isOpenableLink(to)) {
        refusal = QNetworkReply::ProtocolUnknownError;
    }
    if (refusal != QNetworkReply::NoError) {
        SOFTWAREUPDATE_LOG(Log::eWarning, "zk::FileDownloader::fileDownloaded",
                           "redirect is not followed: ", logText(to));
    }
    return refusal;
}

} // namespace zk

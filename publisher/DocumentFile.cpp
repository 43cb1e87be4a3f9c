#include "publisher/DocumentFile.h"

#include <QDir>
#include <QEventLoop>
#include <QFile>
#include <QFileInfo>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QNetworkRequest>

namespace publisher {

namespace {

constexpr int timeoutMs = 15'000;

DocumentFile fetch(const QUrl& url)
{
    QNetworkAccessManager manager;
    QNetworkRequest request(url);
    request.setTransferTimeout(timeoutMs);
    request.setAttribute(QNetworkRequest::RedirectPolicyAttribute,
                         QNetworkRequest::NoLessSafeRedirectPolicy);
    QNetworkReply* const reply = manager.get(request);
    QEventLoop loop;
    QObject::connect(reply, &QNetworkReply::finished, &loop, &QEventLoop::quit);
    loop.exec();
    if (reply->error() != QNetworkReply::NoError) {
        return {{}, reply->errorString(), {}};
    }
    return {reply->readAll(), {}, {}};
}

} // namespace

DocumentFile readDocument(const QString& place)
{
    const QUrl url(place);
    if (url.scheme() == QLatin1String("http") || url.scheme() == QLatin1String("https")) {
        return fetch(url);
    }
    QFile file(url.isLocalFile() ? url.toLocalFile() : place);
    if (!file.open(QIODevice::ReadOnly)) {
        return {{}, file.errorString(), {}};
    }
    return {file.readAll(), {}, QFileInfo(file).absolutePath()};
}

} // namespace publisher

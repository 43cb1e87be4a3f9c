#include "install/FileDownloader.h"

#include "install/BodyWriter.h"
#include "install/LinkRule.h"
#include "support/Log.h"

#include <QNetworkAccessManager>
#include <QNetworkProxy>
#include <QNetworkRequest>
#include <QTimer>

#include <limits>
#include <utility>

namespace zk {

namespace {

constexpr char slotName[] = "zk::FileDownloader::fileDownloaded";

int httpStatus(const QNetworkReply& reply)
{
    return reply.attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
}

bool isRedirect(int status)
{
    return status == 301 || status == 302 || status == 303 || status == 307 || status == 308;
}

// Where a redirect leads to: the reply's own URL when it names no target.
QUrl redirectTarget(const QNetworkReply& reply, const QVariant& attribute)
{
    const QVariant location =
        attribute.isNull() ? reply.header(QNetworkRequest::LocationHeader) : attribute;
    if (location.isNull()) {
        return reply.url();
    }
    const QUrl target = location.toUrl();
    return target.isRelative() ? reply.url().resolved(target) : target;
}

} // namespace

FileDownloader::FileDownloader(QObject* parent)
    : QObject(parent)
    , m_manager(new QNetworkAccessManager(this))
{
    connect(m_manager, SIGNAL(finished(QNetworkReply*)), this,
            SLOT(fileDownloaded(QNetworkReply*)));
}

FileDownloader::~FileDownloader()
{
    if (m_isDelivering) {
        // The manager is still busy with the signal that led here.
        m_manager->setParent(nullptr);
        m_manager->deleteLater();
    }
}

void FileDownloader::downloadFile(const QUrl& url, const QString& filePath)
{
    m_filePath = filePath;
    m_redirects = 0;
    get(url);
}

void FileDownloader::abortDownload()
{
    if (m_writer) {
        // The reply has ended, and cannot be aborted any more.
        m_writer->close();
        deliver(m_writer, {QNetworkReply::OperationCanceledError, httpStatus(*m_reply)}, true);
    } else if (m_reply) {
        m_reply->abort();
    }
}

void FileDownloader::setProxy(const QNetworkProxy& proxy)
{
    m_manager->setProxy(proxy);
}

void FileDownloader::setCompletionCallback(CompletionCallback callback)
{
    m_completed = std::move(callback);
}

void FileDownloader::get(const QUrl& url)
{
    m_writer = nullptr; // of an earlier reply, it goes on
    m_reply = m_manager->get(QNetworkRequest(url));
    QNetworkReply* const reply = m_reply;
    connect(reply, &QNetworkReply::downloadProgress, this, &FileDownloader::progress);
    connect(
        reply, &QNetworkReply::downloadProgress, this,
        [this, reply](qint64 received, qint64 total) { stopOversized(reply, received, total); });
    // By text: the signal has the name of a function of the same class.
    connect(reply, SIGNAL(error(QNetworkReply::NetworkError)), this,
            SIGNAL(error(QNetworkReply::NetworkError)));
}

void FileDownloader::stopOversized(QNetworkReply* reply, qint64 received, qint64 total)
{
    // A body is held in memory until it is written, so there must be an end to it.
    constexpr qint64 maximumSize = std::numeric_limits<int>::max();
    const bool isOversized = received > maximumSize || (total >= 0 && received > total);
    if (!isOversized || reply->isFinished()) {
        return;
    }
    const QPointer<QNetworkReply> guard(reply);
    // Once is enough: what arrives until it is aborted is not looked at.
    disconnect(reply, &QNetworkReply::downloadProgress, this, nullptr);
    emit error(QNetworkReply::UnknownContentError);
    if (guard) {
        guard->abort();
    }
}

void FileDownloader::fileDownloaded(QNetworkReply* pReply)
{
    SOFTWAREUPDATE_LOG(Log::eInfo, slotName, " : ", int(pReply->error()), " : ",
                       pReply->errorString());
    SOFTWAREUPDATE_LOG(Log::eInfo, slotName, " finished : ", int(pReply->isFinished()));
    SOFTWAREUPDATE_LOG(Log::eInfo, slotName, " downloaded : ", pReply->size());
    Result result;
    result.error = pReply->error();
    result.httpStatus = httpStatus(*pReply);
    SOFTWAREUPDATE_LOG(Log::eInfo, slotName, " http status : ", result.httpStatus);
    if (isRedirect(result.httpStatus) && followRedirect(pReply)) {
        return;
    }
    auto* const writer = new BodyWriter(pReply, m_filePath, this);
    if (m_reply == pReply) {
        m_writer = writer;
    }
    write(writer, result);
}

void FileDownloader::write(BodyWriter* writer, const Result& result)
{
    if (writer->writeMore()) {
        QTimer::singleShot(0, writer, [this, writer, result] { write(writer, result); });
    } else {
        deliver(writer, result, false);
    }
}

void FileDownloader::deliver(BodyWriter* writer, Result result, bool isErrorNew)
{
    result.allWritten = writer->isWhole();
    result.isOutdated = m_reply != writer->reply();
    const QString path = writer->isOpened() ? writer->path() : QString();
    writer->reply()->deleteLater();
    delete writer;
    conclude(result, isErrorNew, path);
}

void FileDownloader::conclude(const Result& result, bool isErrorNew, const QString& path)
{
    const QPointer<FileDownloader> self(this);
    const bool wasDelivering = std::exchange(m_isDelivering, true);
    if (isErrorNew) {
        emit error(result.error);
    }
    if (self) {
        complete(result);
    }
    if (self && !path.isEmpty()) {
        emit finished(path);
    }
    if (self) {
        m_isDelivering = wasDelivering;
    }
}

bool FileDownloader::followRedirect(QNetworkReply* reply)
{
    const QVariant attribute = reply->attribute(QNetworkRequest::RedirectionTargetAttribute);
    if (attribute.isNull()) {
        return false;
    }
    SOFTWAREUPDATE_LOG(Log::eInfo, slotName, "redirect : ", logText(attribute.toUrl()));
    const QUrl target = redirectTarget(*reply, attribute);
    SOFTWAREUPDATE_LOG(Log::eInfo, slotName, "complete redirect url: ", logText(target));
    if (target == reply->url()) {
        return false;
    }
    if (!isOpenableLink(target)) {
        refuse(reply, QNetworkReply::ProtocolUnknownError);
    } else if (++m_redirects > maximumRedirects) {
        refuse(reply, QNetworkReply::TooManyRedirectsError);
    } else {
        get(target);
    }
    return true;
}

/** Ends the download with @p reply, of which nothing is written. */
void FileDownloader::refuse(QNetworkReply* reply, QNetworkReply::NetworkError code)
{
    const Result result{code, httpStatus(*reply), false, m_reply != reply};
    reply->deleteLater();
    conclude(result, true, QString());
}

void FileDownloader::complete(const Result& result)
{
    // A copy: the callback may replace or destroy the one that is being called.
    if (const CompletionCallback completed = m_completed) {
        completed(result);
    }
}

} // namespace zk

#include "install/FileDownloader.h"

#include "support/BodyWriter.h"
#include "support/ContentDecoder.h"
#include "support/LinkRule.h"
#include "support/Log.h"
#include "support/ManagerRetirement.h"

#include <QNetworkAccessManager>
#include <QNetworkProxy>
#include <QNetworkRequest>
#include <QPointer>
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

/** The requests of a FileDownloader, and the file of the last one. */
struct FileDownloaderPrivate
{
    using Result = FileDownloader::Result;
    /** Whether the error of a result has been emitted by its reply already. */
    enum Report { eKnownError, eNewError };

    explicit FileDownloaderPrivate(FileDownloader* downloader)
        : q(downloader)
        , manager(new QNetworkAccessManager(downloader))
    {
    }

    FileDownloader* const q;
    QNetworkAccessManager* const manager;
    /** Of the last request. */
    QPointer<QNetworkReply> current;
    /** Writes the body of the current reply. */
    QPointer<BodyWriter> currentWriter;
    QString filePath;
    int redirects = 0;
    FileDownloader::CompletionCallback completed;

    void get(const QUrl& url);
    void stopOversized(QNetworkReply* reply, qint64 received, qint64 total) const;
    bool followRedirect(QNetworkReply* reply);
    void refuse(QNetworkReply* reply, QNetworkReply::NetworkError code) const;
    void write(BodyWriter* writer, const Result& result) const;
    void deliver(BodyWriter* writer, Result result, Report report) const;
    void conclude(const Result& result, Report report, const QString& path) const;
    void complete(const Result& result) const;
};

FileDownloader::FileDownloader(QObject* parent)
    : QObject(parent)
    , d(std::make_unique<FileDownloaderPrivate>(this))
{
    connect(d->manager, SIGNAL(finished(QNetworkReply*)), this,
            SLOT(fileDownloaded(QNetworkReply*)));
}

FileDownloader::~FileDownloader()
{
    d->manager->disconnect(this);
    // No signal of a reply may reach a half-destroyed object. The manager may be emitting the very
    // signal that led here, so it is deleted later.
    const QList<QNetworkReply*> replies = d->manager->findChildren<QNetworkReply*>();
    for (QNetworkReply* reply : replies) {
        reply->disconnect(this);
    }
    d->manager->setParent(nullptr);
    retireNetworkManager(d->manager);
}

void FileDownloader::downloadFile(const QUrl& url, const QString& filePath)
{
    d->filePath = filePath;
    d->redirects = 0;
    d->get(url);
}

void FileDownloader::abortDownload()
{
    if (d->currentWriter) {
        // The reply has ended, and cannot be aborted any more.
        d->currentWriter->close();
        Result aborted;
        aborted.error = QNetworkReply::OperationCanceledError;
        aborted.httpStatus = httpStatus(*d->current);
        d->deliver(d->currentWriter, aborted, FileDownloaderPrivate::eNewError);
    } else if (d->current) {
        d->current->abort();
    }
}

void FileDownloader::setProxy(const QNetworkProxy& proxy)
{
    d->manager->setProxy(proxy);
}

void FileDownloader::setCompletionCallback(CompletionCallback callback)
{
    d->completed = std::move(callback);
}

void FileDownloaderPrivate::get(const QUrl& url)
{
    currentWriter = nullptr; // that of an earlier reply goes on
    QNetworkRequest request(url);
    ContentDecoder::accept(request);
    QNetworkReply* const reply = manager->get(request);
    current = reply;
    QObject::connect(reply, &QNetworkReply::downloadProgress, q, &FileDownloader::progress);
    QObject::connect(
        reply, &QNetworkReply::downloadProgress, q,
        [this, reply](qint64 received, qint64 total) { stopOversized(reply, received, total); });
    // By text: the signal has the name of a function of the same class.
    QObject::connect(reply, SIGNAL(error(QNetworkReply::NetworkError)), q,
                     SIGNAL(error(QNetworkReply::NetworkError)));
}

void FileDownloaderPrivate::stopOversized(QNetworkReply* reply, qint64 received, qint64 total) const
{
    // A body is held in memory until it is written, so there must be an end to it.
    constexpr qint64 maximumSize = std::numeric_limits<int>::max();
    const bool isOversized = received > maximumSize || (total >= 0 && received > total);
    if (!isOversized || reply->isFinished()) {
        return;
    }
    const QPointer<QNetworkReply> guard(reply);
    // Report it once.
    QObject::disconnect(reply, &QNetworkReply::downloadProgress, q, nullptr);
    emit q->error(QNetworkReply::UnknownContentError);
    if (guard) {
        guard->abort();
    }
}

void FileDownloader::fileDownloaded(QNetworkReply* pReply)
{
    SOFTWAREUPDATE_LOG(Log::eInfo, slotName, " : ", int(pReply->error()), " : ",
                       withoutCredentials(pReply->errorString(), pReply->url()));
    SOFTWAREUPDATE_LOG(Log::eInfo, slotName, " finished : ", int(pReply->isFinished()));
    SOFTWAREUPDATE_LOG(Log::eInfo, slotName, " downloaded : ", pReply->size());
    Result result;
    result.error = pReply->error();
    result.httpStatus = httpStatus(*pReply);
    SOFTWAREUPDATE_LOG(Log::eInfo, slotName, " http status : ", result.httpStatus);
    if (isRedirect(result.httpStatus) && d->followRedirect(pReply)) {
        return;
    }
    auto* const writer = new BodyWriter(pReply, d->filePath, this);
    if (d->current == pReply) {
        d->currentWriter = writer;
    }
    d->write(writer, result);
}

void FileDownloaderPrivate::write(BodyWriter* writer, const Result& result) const
{
    if (writer->writeMore()) {
        QTimer::singleShot(0, writer, [this, writer, result] { write(writer, result); });
        return;
    }
    Result checked = result;
    if (result.error == QNetworkReply::NoError) {
        checked.error = writer->bodyError(); // of which Qt says nothing
    }
    deliver(writer, checked, checked.error == result.error ? eKnownError : eNewError);
}

void FileDownloaderPrivate::deliver(BodyWriter* writer, Result result, Report report) const
{
    result.allWritten = writer->isWhole();
    result.systemError = writer->systemError();
    result.isOutdated = current != writer->reply();
    const QString path = writer->isOpened() ? writer->path() : QString();
    writer->reply()->deleteLater();
    delete writer;
    conclude(result, report, path);
}

void FileDownloaderPrivate::conclude(const Result& result, Report report, const QString& path) const
{
    const QPointer<FileDownloader> self(q);
    if (report == eNewError) {
        emit q->error(result.error);
    }
    if (self) {
        complete(result);
    }
    if (self && !path.isEmpty()) {
        emit q->finished(path);
    }
}

bool FileDownloaderPrivate::followRedirect(QNetworkReply* reply)
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
    const QNetworkReply::NetworkError refusal = redirectError(reply->url(), target);
    if (refusal != QNetworkReply::NoError || !isOpenableLink(target)) {
        SOFTWAREUPDATE_LOG(Log::eWarning, slotName, "redirect is not followed: ", logText(target));
        refuse(reply,
               refusal != QNetworkReply::NoError ? refusal : QNetworkReply::ProtocolUnknownError);
    } else if (++redirects > FileDownloader::maximumRedirects) {
        refuse(reply, QNetworkReply::TooManyRedirectsError);
    } else {
        get(target);
    }
    return true;
}

/** Ends the download with @p reply, of which nothing is written. */
void FileDownloaderPrivate::refuse(QNetworkReply* reply, QNetworkReply::NetworkError code) const
{
    Result result;
    result.error = code;
    result.httpStatus = httpStatus(*reply);
    result.isOutdated = current != reply;
    reply->deleteLater();
    conclude(result, eNewError, QString());
}

void FileDownloaderPrivate::complete(const Result& result) const
{
    // A copy: the callback may replace or destroy the one that is being called.
    if (const FileDownloader::CompletionCallback callback = completed) {
        callback(result);
    }
}

} // namespace zk

#include "install/FileDownloader.h"

#include "download/Redirect.h"
#include "support/BodyWriter.h"
#include "support/ContentDecoder.h"
#include "support/LinkRule.h"
#include "support/Log.h"
#include "support/ManagerRetirement.h"
#include "support/QtCompatibility.h"

#include <QHash>
#include <QNetworkAccessManager>
#include <QNetworkProxy>
#include <QNetworkRequest>
#include <QPointer>
#include <QTimer>

#include <utility>

namespace zk {

namespace {

constexpr char slotName[] = "zk::FileDownloader::fileDownloaded";

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
    /** Writes the rest of the current reply, which has ended. */
    QPointer<BodyWriter> finishing;
    /** Of all replies that have not been delivered yet. */
    QHash<const QNetworkReply*, BodyWriter*> writers;
    QString filePath;
    int redirects = 0;
    FileDownloader::CompletionCallback completed;
    FileDownloader::BodyCallback written;

    void get(const QUrl& url);
    void receive(BodyWriter* writer) const;
    void giveUp(BodyWriter* writer) const;
    void stopOversized(QNetworkReply* reply, qint64 received, qint64 total) const;
    bool followRedirect(QNetworkReply* reply);
    void refuse(QNetworkReply* reply, QNetworkReply::NetworkError code) const;
    void finish(BodyWriter* writer, const Result& result, Report report);
    void deliver(BodyWriter* writer, Result result, Report report);
    void conclude(const Result& result, Report report, const QString& path) const;
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
    qDeleteAll(d->writers);
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
    if (d->finishing) {
        // The reply has ended, and cannot be aborted any more.
        d->finishing->close(d->filePath);
        Result aborted;
        aborted.error = QNetworkReply::OperationCanceledError;
        aborted.httpStatus = httpStatus(*d->current);
        d->deliver(d->finishing, aborted, FileDownloaderPrivate::eNewError);
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

void FileDownloader::setBodyCallback(BodyCallback callback)
{
    d->written = std::move(callback);
}

void FileDownloaderPrivate::get(const QUrl& url)
{
    finishing = nullptr; // that of an earlier reply goes on
    QNetworkRequest request(url);
    QtCompatibility::usePlainHttp(request);
    ContentDecoder::accept(request);
    QNetworkReply* const reply = manager->get(request);
    reply->setReadBufferSize(BodyWriter::readBufferSize);
    current = reply;
    auto* const writer = new BodyWriter(reply, q, written);
    writers.insert(reply, writer);
    QObject::connect(reply, &QNetworkReply::readyRead, writer, [this, writer] { receive(writer); });
    QObject::connect(reply, &QNetworkReply::downloadProgress, q, &FileDownloader::progress);
    QObject::connect(
        reply, &QNetworkReply::downloadProgress, q,
        [this, reply](qint64 received, qint64 total) { stopOversized(reply, received, total); });
    QObject::connect(reply, &QNetworkReply::errorOccurred, q, &FileDownloader::error);
}

void FileDownloaderPrivate::receive(BodyWriter* writer) const
{
    QNetworkReply* const reply = writer->reply();
    if (reply->isFinished()) {
        return; // the rest is written by finish()
    }
    if (isRedirect(*reply) && redirectTarget(*reply) != reply->url()) {
        writer->drain();
    } else if (writer->receive(filePath)) {
        QTimer::singleShot(0, writer, [this, writer] { receive(writer); });
    } else if (writer->hasFailed()) {
        giveUp(writer);
    }
}

// The reply still comes to its end, and fileDownloaded() tells why.
void FileDownloaderPrivate::giveUp(BodyWriter* writer) const
{
    SOFTWAREUPDATE_LOG(Log::eWarning, slotName, "body is not written: ", int(writer->bodyError()),
                       " ", writer->systemError());
    // That it was aborted would hide the reason.
    writer->reply()->disconnect(q);
    writer->reply()->abort();
}

void FileDownloaderPrivate::stopOversized(QNetworkReply* reply, qint64 received, qint64 total) const
{
    if (total < 0 || received <= total || reply->isFinished()) {
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
    BodyWriter* writer = d->writers.value(pReply);
    if (!writer) {
        writer = new BodyWriter(pReply, this); // somebody else's reply
        d->writers.insert(pReply, writer);
    }
    SOFTWAREUPDATE_LOG(Log::eInfo, slotName, " : ", int(pReply->error()), " : ",
                       withoutCredentials(pReply->errorString(), pReply->url()));
    SOFTWAREUPDATE_LOG(Log::eInfo, slotName, " finished : ", int(pReply->isFinished()));
    SOFTWAREUPDATE_LOG(Log::eInfo, slotName, " downloaded : ", writer->received());
    Result result;
    result.error = pReply->error();
    result.httpStatus = httpStatus(*pReply);
    SOFTWAREUPDATE_LOG(Log::eInfo, slotName, " http status : ", result.httpStatus);
    if (isRedirect(*pReply) && d->followRedirect(pReply)) {
        return;
    }
    if (d->current == pReply) {
        d->finishing = writer;
    }
    if (!writer->hasFailed()) {
        d->finish(writer, result, FileDownloaderPrivate::eKnownError);
        return;
    }
    const QNetworkReply::NetworkError error = writer->bodyError();
    result.error = error == QNetworkReply::NoError ? QNetworkReply::UnknownContentError : error;
    d->finish(writer, result, FileDownloaderPrivate::eNewError);
}

void FileDownloaderPrivate::finish(BodyWriter* writer, const Result& result, Report report)
{
    if (writer->finish(filePath)) {
        QTimer::singleShot(0, writer, [=] { finish(writer, result, report); });
        return;
    }
    Result checked = result;
    if (result.error == QNetworkReply::NoError) {
        checked.error = writer->bodyError(); // of which Qt says nothing
    }
    deliver(writer, checked, checked.error == result.error ? report : eNewError);
}

void FileDownloaderPrivate::deliver(BodyWriter* writer, Result result, Report report)
{
    result.allWritten = writer->isWhole();
    result.systemError = writer->systemError();
    result.isOutdated = current != writer->reply();
    const QString path = writer->isOpened() ? writer->path() : QString();
    writer->reply()->deleteLater();
    writers.remove(writer->reply());
    delete writer;
    conclude(result, report, path);
}

void FileDownloaderPrivate::conclude(const Result& result, Report report, const QString& path) const
{
    const QPointer<FileDownloader> self(q);
    if (report == eNewError) {
        emit q->error(result.error);
    }
    // A copy: the callback may replace or destroy the one that is being called.
    const auto callback = self ? completed : FileDownloader::CompletionCallback();
    if (callback) {
        callback(result);
    }
    if (self && !path.isEmpty()) {
        emit q->finished(path);
    }
}

bool FileDownloaderPrivate::followRedirect(QNetworkReply* reply)
{
    SOFTWAREUPDATE_LOG(
        Log::eInfo, slotName, "redirect : ",
        logText(reply->attribute(QNetworkRequest::RedirectionTargetAttribute).toUrl()));
    const QUrl target = redirectTarget(*reply);
    SOFTWAREUPDATE_LOG(Log::eInfo, slotName, "complete redirect url: ", logText(target));
    if (target == reply->url()) {
        return false;
    }
    delete writers.take(reply);
    const QNetworkReply::NetworkError refusal = redirectRefusal(reply->url(), target);
    if (refusal != QNetworkReply::NoError) {
        refuse(reply, refusal);
    } else if (++redirects > maximumRedirects) {
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

} // namespace zk

#pragma once

#include "support/Export.h"

#include <QNetworkReply>
#include <QObject>
#include <QString>

#include <functional>
#include <memory>

class QNetworkProxy;
class QUrl;

namespace zk {

struct FileDownloaderPrivate;

/**
 * Fetches one file at a time over HTTP(S), follows redirects and writes the whole body to a local
 * file.
 *
 * The body is written while it arrives, into a partial file beside the target, and appears under
 * its name at the end; the folders above and a file that is there already are touched only then. It
 * is written whatever the status: an error page or what an aborted transfer left, too. Who wants to
 * know whether the file is the one that was asked for takes the completion callback, or listens to
 * error(), which always comes before finished().
 *
 * More than 50 redirects end in error(TooManyRedirectsError), and one that leads to anything but
 * http, https or ftp in error(ProtocolUnknownError), from https to less in
 * error(InsecureRedirectError); nothing is written then.
 *
 * Lives in the GUI thread; owned by its QObject parent, if any.
 */
class SOFTWAREUPDATE_EXPORT FileDownloader : public QObject
{
    Q_OBJECT

public:
    /** How a download ended. */
    struct Result
    {
        /** As of the reply; ProtocolFailure for a body that cannot be decoded, UnknownContentError
         * for one that could not be written while it arrived. */
        QNetworkReply::NetworkError error = QNetworkReply::NoError;
        /** Status of the last reply, 0 where there is none (file: URLs, no connection). */
        int httpStatus = 0;
        /** Every byte of the body has been written to the file and flushed. */
        bool allWritten = false;
        /** Not the reply of the last request: another download was started meanwhile. */
        bool isOutdated = false;
        /** What the system said of a file that could not be opened or written; else empty. */
        QString systemError;

        /** Whether the file now holds what the URL stands for. */
        [[nodiscard]] bool isWholeFile() const
        {
            return error == QNetworkReply::NoError && allWritten &&
                   (httpStatus == 200 || httpStatus == 0);
        }
    };
    /** Called with how a download ended. */
    using CompletionCallback = std::function<void(const Result& result)>;
    /** Called with the next decoded bytes of a body, which have been written. */
    using BodyCallback = std::function<void(const char* data, qint64 size)>;

    /** Owned by @p parent, if there is one. */
    explicit FileDownloader(QObject* parent = nullptr);
    ~FileDownloader() override;

    /**
     * Starts to download @p url to @p filePath, making the folders above it. A download that is
     * running goes on, but ends in the new file too, unless its body is being written already;
     * abort it first.
     */
    void downloadFile(const QUrl& url, const QString& filePath);

    /** Aborts the running download, if any: error(5) and finished() follow before it returns. */
    void abortDownload();

    /** The proxy of all later requests. */
    void setProxy(const QNetworkProxy& proxy);

    /**
     * Called after each final reply with its result, just before finished() (which does not come
     * when the file could not be opened). The callback may delete the downloader.
     */
    void setCompletionCallback(CompletionCallback callback);

    /**
     * Called with the body of each download that is started from now on, not with those of
     * redirects; what it refers to must live as long as the download. Must not delete anything.
     */
    void setBodyCallback(BodyCallback callback);

signals:
    /** Bytes received so far, and in all (-1: unknown). */
    void progress(qint64 bytesSent, qint64 bytesTotal);
    /** The body of the last reply, whatever it is, has been written to @p filePath. */
    void finished(const QString& filePath);
    /** Something went wrong; finished() follows if the file could be written. An abort is 5. */
    void error(QNetworkReply::NetworkError errorCode);

private slots:
    void fileDownloaded(QNetworkReply* pReply);

private:
    friend struct FileDownloaderPrivate;

    const std::unique_ptr<FileDownloaderPrivate> d;
};

} // namespace zk

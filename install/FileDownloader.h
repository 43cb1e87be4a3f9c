#pragma once

#include "support/Export.h"

#include <QNetworkReply>
#include <QObject>
#include <QPointer>
#include <QString>

#include <functional>

class QNetworkAccessManager;
class QNetworkProxy;
class QUrl;

namespace zk {

class BodyWriter;

/**
 * Fetches one file at a time over HTTP(S), follows redirects and writes the whole body to a local
 * file.
 *
 * The body is kept in memory and written at its end, a large one in several turns of the event
 * loop. It is written whatever the status: an error page or what an aborted transfer left, too. Who
 * wants to know whether the file is the one that was asked for takes the completion callback, or
 * listens to error(), which always comes before finished().
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
        /** As of the reply; NoError for a body that could not be written. */
        QNetworkReply::NetworkError error = QNetworkReply::NoError;
        /** Status of the last reply, 0 where there is none (file: URLs, no connection). */
        int httpStatus = 0;
        /** Every byte of the body has been written to the file and flushed. */
        bool allWritten = false;
        /** It was not the reply of the last request: another download had been started meanwhile.
         */
        bool isOutdated = false;

        /** Whether the file now holds what the URL stands for. */
        [[nodiscard]] bool isWholeFile() const
        {
            return error == QNetworkReply::NoError && allWritten &&
                   (httpStatus == 200 || httpStatus == 0);
        }
    };
    /** Told how each download ended. */
    using CompletionCallback = std::function<void(const Result& result)>;

    /** More hops than this in one download end in error(TooManyRedirectsError), and one that leads
     * to anything but http, https, ftp or a file of this machine in error(ProtocolUnknownError);
     * nothing is written. */
    static constexpr int maximumRedirects = 50;

    /** Owned by @p parent, if there is one. */
    explicit FileDownloader(QObject* parent = nullptr);
    ~FileDownloader() override;

    /**
     * Starts to download @p url to @p filePath, making the folders above it. A download that is
     * running goes on, but ends in the new file too, unless its body is being written already;
     * abort it first.
     */
    void downloadFile(const QUrl& url, const QString& filePath);

    /** Aborts the running reply, if any, or the writing of its body: error(5) and finished() follow
     * before the call returns. */
    void abortDownload();

    /** The proxy of all later requests. */
    void setProxy(const QNetworkProxy& proxy);

    /**
     * Called after each final reply with its result, just before finished() (which does not come
     * when the file could not be opened). The callback may delete the downloader.
     */
    void setCompletionCallback(CompletionCallback callback);

signals:
    /** Bytes received so far, and in all (-1: unknown). */
    void progress(qint64 bytesSent, qint64 bytesTotal);
    /** The body of the last reply, whatever it is, has been written to @p filePath. */
    void finished(const QString& filePath);
    /** Something went wrong; finished() follows all the same. An abort is error 5. */
    void error(QNetworkReply::NetworkError errorCode);

private slots:
    void fileDownloaded(QNetworkReply* pReply);

private:
    QNetworkAccessManager* m_manager;
    QPointer<QNetworkReply> m_reply;
    /** Of the body of m_reply, while it is written. */
    QPointer<BodyWriter> m_writer;
    QString m_filePath;
    int m_redirects = 0;
    bool m_isDelivering = false;
    CompletionCallback m_completed;

    void get(const QUrl& url);
    void stopOversized(QNetworkReply* reply, qint64 received, qint64 total);
    bool followRedirect(QNetworkReply* reply);
    void refuse(QNetworkReply* reply, QNetworkReply::NetworkError code);
    void write(BodyWriter* writer, const Result& result);
    void deliver(BodyWriter* writer, Result result, bool isErrorNew);
    void conclude(const Result& result, bool isErrorNew, const QString& path);
    void complete(const Result& result);
};

} // namespace zk

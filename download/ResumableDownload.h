#pragma once

#include "download/DownloadPolicy.h"
#include "download/HttpRange.h"
#include "download/RangeRequest.h"

#include <QElapsedTimer>
#include <QNetworkProxy>
#include <QObject>
#include <QTimer>
#include <QUrl>

#include <functional>
#include <memory>
#include <optional>

namespace zk {

class BackgroundTask;
class PartialFile;

/**
 * A download that goes on after failures: one try after the other, each from where the one before
 * stopped, with pauses between them.
 *
 * Construct, connect and start(); ended() follows once, from the event loop, unless the object is
 * destroyed: that ends the download and leaves the partial file to a later one, if it is one that
 * is kept. GUI thread only.
 */
class ResumableDownload final : public QObject
{
    Q_OBJECT

public:
    /** Asked before each try: the network may be another one. */
    using ProxyChoice = std::function<QNetworkProxy()>;

    /** Downloads @p url to the new file @p path. */
    ResumableDownload(QUrl url, QString path, std::unique_ptr<PartialFile> partial,
                      DownloadPolicy policy, ProxyChoice proxy);
    ~ResumableDownload() override;

    /** Downloads only @p section, to the partial file, which stays there; to be called before
     * start(). */
    void setSection(const HttpRange::Section& section) { m_section = section; }
    /** Hashes the file while it arrives; to be called before start(). */
    void enableHash();
    void start();
    /** The hash of the whole file; to be called once, after a good end. */
    [[nodiscard]] QByteArray hash();

    /** Removes what has arrived of the section, after the end. */
    void discardSection();
    /** After a bad end: the server does not send the section, or not of this file. */
    [[nodiscard]] bool isUnfit() const { return m_isUnfit; }

signals:
    /** Bytes that are there, and of the whole file (-1: unknown). */
    void progressed(qint64 received, qint64 total);
    /** Each second of a pause: the next try begins in @p milliseconds. */
    void waiting(qint64 milliseconds);
    /** NoError: the file is whole, under its name; or the section is. */
    void ended(QNetworkReply::NetworkError code);

private:
    const QUrl m_url;
    const QString m_path;
    const std::unique_ptr<PartialFile> m_partial;
    const DownloadPolicy m_policy;
    const ProxyChoice m_proxy;
    std::unique_ptr<RangeRequest> m_request;
    std::unique_ptr<BackgroundTask> m_rehash;
    QTimer m_tick;
    QElapsedTimer m_paused;
    std::chrono::milliseconds m_pause{0};
    /** The most bytes that were ever there, when tries were last counted from the beginning. */
    qint64 m_furthest = 0;
    /** Tries in a row without progress. */
    int m_retries = 0;
    bool m_hasBegunAnew = false;
    std::optional<HttpRange::Section> m_section;
    bool m_isUnfit = false;

    void rehash();
    void tryNow();
    void take(const RangeRequest::End& end);
    void noteProgress();
    void takeWhole();
    void beginAnew(const RangeRequest::End& end);
    void retry(const RangeRequest::End& end);
    void tick();
    void place();
    void finish(QNetworkReply::NetworkError code);
};

} // namespace zk

#pragma once

#include "catalogue/PackageInfo.h"
#include "download/DownloadCache.h"
#include "download/PackageSignature.h"
#include "download/ResumableDownload.h"
#include "install/DifferentialUpdate.h"
#include "install/FileDownloader.h"

#include <QNetworkReply>
#include <QObject>
#include <QStringList>
#include <QUrl>

#include <memory>
#include <optional>

namespace zk {

class BackgroundTask;
class BodyHash;

/**
 * One download: the signature, if one is required, then the package, checked while it arrives; or
 * only what has changed of it.
 *
 * Exactly one of ready(), failed() and refused() follows start(), from the event loop, as the last
 * thing that the object does by itself. Destroying it before handOver() aborts and erases. GUI
 * thread only.
 */
class PackageDownload final : public QObject
{
    Q_OBJECT

public:
    struct Retries
    {
        DownloadPolicy policy;
        /** For the partial file of the package. */
        DownloadCache cache;
        /** Asked before each try. */
        ResumableDownload::ProxyChoice proxy;
    };

    /**
     * Downloads @p package from @p url to the file @p path, in a folder of its own. With
     * @p publicKeys, it must be signed by one of them. @p downloader must outlive the object.
     */
    PackageDownload(FileDownloader& downloader, PackageInfo package, QUrl url, QString path,
                    QStringList publicKeys);
    ~PackageDownload() override;

    /** Has it go on after failures; to be called before start(). */
    void setRetries(const Retries& retries) { m_retries = retries; }
    /** Has it fetch only what changed, where that is possible; to be called before start(). */
    void setDifferential(DifferentialUpdate::Source source);
    void start();

    [[nodiscard]] const PackageInfo& package() const { return m_package; }
    /** ready() has been emitted. */
    [[nodiscard]] bool isReady() const { return m_step == eReady; }
    /** From now on the file belongs to the caller. */
    void handOver() { m_step = eHandedOver; }
    /** After ready(): the new version of the application, in place of a file; else null. */
    [[nodiscard]] std::shared_ptr<StagingTree> tree() const;

    /** Removes a downloaded file with its signature, and the folder if that is empty then. */
    static void erase(const QString& path);

signals:
    /** Bytes received of the package, and in all (-1: unknown). */
    void progressed(qint64 received, qint64 total);
    /** The next try begins in @p milliseconds. */
    void waiting(qint64 milliseconds);
    /** Everything is downloaded, a signature of the file itself is being verified. */
    void verifying();
    /** The package is whole and, with keys, signed. */
    void ready();
    /** The package could not be downloaded. */
    void failed(QNetworkReply::NetworkError code);
    /** The package must not be installed: its signature is missing, or no good for @p reason. */
    void refused(const QString& reason);

private:
    enum Step { eDifferential, eSignature, ePackage, eVerifying, eReady, eEnded, eHandedOver };

    FileDownloader& m_downloader;
    const PackageInfo m_package;
    const QUrl m_url;
    const QString m_path;
    const QStringList m_publicKeys;
    Step m_step = eSignature;
    std::optional<PackageSignature> m_signature;
    std::optional<Retries> m_retries;
    std::unique_ptr<DifferentialUpdate> m_differential;
    /** What is downloaded now, with a policy; else the downloader does it. */
    std::unique_ptr<ResumableDownload> m_resumable;
    std::shared_ptr<BodyHash> m_hash;
    std::unique_ptr<BackgroundTask> m_verification;

    [[nodiscard]] bool isDownloading() const { return m_step <= ePackage; }
    [[nodiscard]] bool isHashed() const;
    [[nodiscard]] QString signaturePath() const;
    void startWhole();
    void fetch(const QUrl& url, const QString& path);
    void fetchResumable(const QUrl& url, const QString& path);
    void report(qint64 received, qint64 total);
    void complete(const FileDownloader::Result& result);
    [[nodiscard]] bool isEmptyPackage() const;
    void fail(QNetworkReply::NetworkError code);
    void proceed();
    void takeSignature();
    void downloadPackage();
    void verify();
    void takeVerification(const QString& complaint);
    void judge(const QString& complaint);
};

} // namespace zk

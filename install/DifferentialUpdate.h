#pragma once

#include "catalogue/PackageInfo.h"
#include "download/DownloadCache.h"
#include "download/ResumableDownload.h"
#include "install/InstalledContents.h"
#include "install/RangePlan.h"
#include "install/StagingTree.h"

#include <QObject>
#include <QUrl>

#include <functional>
#include <map>
#include <memory>
#include <vector>

namespace zk {

class BackgroundTask;

/**
 * Puts the next version of the application together from its files that are there already and from
 * those parts of a ZIP package that have changed, guided by the package's signed manifest.
 *
 * Construct, connect and start(); exactly one of ready(), unusable() and failed() follows, from the
 * event loop, unless the object is destroyed, which keeps what it has for a later one. GUI thread
 * only; files are read and written on a thread of its own.
 */
class DifferentialUpdate final : public QObject
{
    Q_OBJECT

public:
    struct Source
    {
        PackageInfo package;
        QUrl url;
        QStringList publicKeys;
        /** What the manifest must be for; no platforms: any. */
        QString product;
        QStringList platforms;
        /** With the files that are there. */
        QString applicationFolder;
        DownloadPolicy policy;
        DownloadCache cache;
        ResumableDownload::ProxyChoice proxy;
    };

    explicit DifferentialUpdate(Source source);
    ~DifferentialUpdate() override;

    void start();
    /** After ready(): the new version. */
    [[nodiscard]] std::shared_ptr<StagingTree> tree() const { return m_tree; }

    /** Whether @p package is of a kind that has a manifest. */
    [[nodiscard]] static bool isFor(const PackageInfo& package, const QUrl& url);

signals:
    /** Bytes received of what is fetched of the package, and in all. */
    void progressed(qint64 received, qint64 total);
    /** The next try begins in @p milliseconds. */
    void waiting(qint64 milliseconds);
    /** Files are being read or written, for an unknown time. */
    void busy();
    /** The new version is complete and as the manifest says. */
    void ready();
    /** The package has to be fetched as a whole. */
    void unusable(const QString& reason);
    /** The network failed. */
    void failed(QNetworkReply::NetworkError code);

private:
    /** A section of one of the files on the server. */
    struct Fetch
    {
        enum From { ePatches, eArchive };

        From from;
        FetchedSection section;
    };

    const Source m_source;
    std::unique_ptr<ResumableDownload> m_fetch;
    std::shared_ptr<StagingTree> m_tree;
    DownloadCache::Staging m_staging;
    QByteArray m_manifestText;
    /** Positions of files that are neither in the tree nor on their way. */
    std::vector<std::size_t> m_missing;
    ContentPaths m_installed;
    /** For a file that is made by a patch, by position. */
    std::map<std::size_t, trust::ManifestPatch> m_patches;
    std::vector<Fetch> m_fetches;
    std::size_t m_current = 0;
    bool m_isSecondTry = false;
    qint64 m_fetched = 0;
    qint64 m_wanted = 0;
    // Last: its end waits for the thread, which uses the others.
    std::unique_ptr<BackgroundTask> m_task;

    using Next = void (DifferentialUpdate::*)();

    [[nodiscard]] QString manifestPath() const;
    [[nodiscard]] QString signaturePath() const;
    void fetchBeside(const QString& suffix, const QString& path, qint64 largest, Next next);
    void fetchSignature();
    void takeManifest();
    [[nodiscard]] QString complaintAboutManifest(const trust::PackageManifest& manifest,
                                                 qint64 size) const;
    void work(const std::function<QString(const std::atomic<bool>&)>& job, Next next);
    void reuse();
    void choosePatches();
    void plan();
    void planFrom(Fetch::From from, std::vector<WantedBytes> wanted);
    [[nodiscard]] QString complaintAboutPlan() const;
    void fetchSection();
    void takeSection(QNetworkReply::NetworkError code);
    void unpackSection();
    [[nodiscard]] bool unpackEntries(QFile& file, const std::atomic<bool>& isCancelled);
    void applyPatches(QFile& file, const std::atomic<bool>& isCancelled);
    void dropPatches();
    void nextSection();
    void check();
    void conclude();
    void giveUp(const QString& reason);
};

} // namespace zk

#pragma once

#include "client/CheckSchedule.h"
#include "client/PackageDownload.h"
#include "client/SettingsStore.h"
#include "client/SoftwareUpdateClient.h"
#include "client/UpdateRequest.h"
#include "client/UpdateWindows.h"
#include "client/ZipUpdate.h"
#include "support/BackgroundTask.h"
#include "support/Epoch.h"

namespace zk {

/** The rooms of the client, and what its flows share. */
struct SoftwareUpdateClientPrivate
{
    /** Whether a request begins a check or continues one after a redirect. */
    enum Hop { eFirst, eNext };

    SoftwareUpdateClientPrivate(SoftwareUpdateClient* client, AppSettings* settings,
                                QWidget* parent);

    SoftwareUpdateClient* const q;
    /** Begun once: ends with the client. */
    Epoch life;
    SettingsStore store;
    CheckSchedule schedule;
    UpdateWindows windows;
    /** The host's proxy; null: the system's. */
    std::unique_ptr<QNetworkProxy> proxy;
    SoftwareUpdate::EState state = SoftwareUpdate::eIdle;

    QTimer* requestTimer = nullptr;
    std::unique_ptr<UpdateRequest> request;
    /** Begun with each check. */
    Epoch checks;

    /** Found by the last check, and the rows of the list. */
    PackageInfoList packages;

    UpdateOptions options;
    QStringList publicKeys;
    /** Removes what old downloads have left, on a thread. */
    std::unique_ptr<BackgroundTask> tidying;
    FileDownloader* const downloader;
    std::unique_ptr<PackageDownload> download;
    /** Begun with each download. */
    Epoch downloads;
    /** The file of the last download. */
    QString downloadPath;
    std::unique_ptr<ZipUpdate> zipUpdate;

    void makeSettings(Qt::WindowFlags flags);
    void sendRequest(const QUrl& url, Hop hop);
    void makeRequest();
    void showMessage(const QString& message) const;

    void makeList();
    void fillList();
    /** To be called when the packages have gone, or when a download has ended that kept the list.
     */
    void closeEmptyList();
    void describe(const PackageInfo& package) const;
    /** @p url, which a server wrote, relative to the update document. */
    [[nodiscard]] QUrl resolved(const QUrl& url) const;
    void openLink(const QUrl& url) const;

    void startDownload(const PackageInfo& package);
    void refusePackage(const QString& reason) const;
    [[nodiscard]] DifferentialUpdate::Source differentialSource(const PackageInfo& package,
                                                                const QUrl& url) const;
    void dispatch();
    void offerRestart() const;
};

} // namespace zk

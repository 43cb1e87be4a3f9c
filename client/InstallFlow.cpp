// From the Install button to the installer: question, download, dispatch by file type.

#include "client/SoftwareUpdateClientPrivate.h"

#include "download/DownloadFileName.h"
#include "support/FileUtils.h"
#include "support/LinkRule.h"
#include "support/Log.h"
#include "support/ProcessStart.h"
#include "ui/TransferDialog.h"

#include <QCoreApplication>
#include <QDesktopServices>
#include <QDir>
#include <QFileInfo>

namespace zk {

namespace {

constexpr char installName[] = "zk::SoftwareUpdateClient::installPackage";
constexpr char tryingToRun[] = "trying to run ";

} // namespace

void SoftwareUpdateClient::installPackage(int itemIndex)
{
    if (itemIndex < 0 || itemIndex >= d->packages.size()) {
        SOFTWAREUPDATE_LOG(Log::eWarning, installName, "there is no package in row ", itemIndex);
        return;
    }
    // A copy: a check may replace the packages while the question is open.
    const PackageInfo package = d->packages.at(itemIndex);
    const Epoch::Mark life = d->life.mark();
    const bool isConfirmed = d->windows.confirmInstallation();
    if (!life.isCurrent()) {
        return;
    }
    if (!isConfirmed) {
        SOFTWAREUPDATE_LOG(Log::eInfo, installName, "user rejected installation");
        return;
    }
    if (d->download) {
        abortDownload();
    }
    d->startDownload(package);
}

void SoftwareUpdateClientPrivate::startDownload(const PackageInfo& package)
{
    const QUrl url = resolved(package.url);
    if (!isOpenableLink(url)) {
        SOFTWAREUPDATE_LOG(Log::eError, installName, "package is not downloaded: ", logText(url));
        windows.showDownloadError(QNetworkReply::ProtocolUnknownError);
        return;
    }
    const QString folder = FileUtils::createTempDir();
    if (folder.isEmpty()) {
        SOFTWAREUPDATE_LOG(Log::eError, installName, "could not create a temporary folder below ",
                           QDir::tempPath());
        windows.showDownloadError(QNetworkReply::UnknownContentError);
        return;
    }
    downloadPath = folder + QLatin1Char('/') + downloadFileName(url, package.suffix);
    downloader->setProxy(q->networkProxy(store.read().serverUrl));
    downloads.begin();
    download =
        std::make_unique<PackageDownload>(*downloader, package, url, downloadPath, publicKeys);
    PackageDownload* const running = download.get();
    if (options.usesCache()) {
        const DownloadCache cache(store.read().productName);
        tidying = cache.tidyInBackground();
        if (options.download.retries > 0) {
            running->setRetries({options.download, cache,
                                 [this] { return q->networkProxy(store.read().serverUrl); }});
        }
    }
    if (options.differentialUpdates && !publicKeys.isEmpty() &&
        DifferentialUpdate::isFor(package, url)) {
        if (zipUpdate && zipUpdate->isStaged()) {
            zipUpdate.reset(); // there is one staging folder
        }
        running->setDifferential(differentialSource(package, url));
    }
    QObject::connect(running, &PackageDownload::progressed, q,
                     &SoftwareUpdateClient::downloadProgress);
    QObject::connect(running, &PackageDownload::ready, q, &SoftwareUpdateClient::downloadFinished);
    QObject::connect(running, &PackageDownload::failed, q, &SoftwareUpdateClient::downloadError);
    QObject::connect(running, &PackageDownload::refused, q,
                     [this](const QString& reason) { refusePackage(reason); });
    TransferDialog* const dialog = windows.makeProgress(QFileInfo(downloadPath).fileName());
    QObject::connect(running, &PackageDownload::waiting, dialog, &TransferDialog::showPause);
    QObject::connect(running, &PackageDownload::verifying, dialog, &TransferDialog::showBusy);
    QObject::connect(dialog, &TransferDialog::canceled, q, &SoftwareUpdateClient::abortDownload);
    running->start();
}

DifferentialUpdate::Source
SoftwareUpdateClientPrivate::differentialSource(const PackageInfo& package, const QUrl& url) const
{
    const SoftwareUpdate::SoftwareUpdateSettings settings = store.read();
    return {package,
            url,
            publicKeys,
            settings.productName,
            settings.platforms,
            QCoreApplication::applicationDirPath(),
            options.download,
            DownloadCache(settings.productName),
            [this] { return q->networkProxy(store.read().serverUrl); }};
}

void SoftwareUpdateClient::downloadProgress(qint64 value, qint64 total)
{
    if (TransferDialog* const dialog = d->windows.progress()) {
        dialog->showProgress(value, total);
    }
}

void SoftwareUpdateClient::downloadError(QNetworkReply::NetworkError errorCode)
{
    if (!d->windows.parent()) {
        d->download.reset(); // nobody is there to be told, or to install anything
        return;
    }
    const Epoch::Mark download = d->downloads.mark();
    if (d->windows.progress()) {
        d->windows.progress()->stop(); // it would be in the way of the box
    }
    if (errorCode != QNetworkReply::OperationCanceledError) {
        d->windows.showDownloadError(errorCode);
    }
    if (download.isCurrent()) {
        abortDownload();
    }
}

void SoftwareUpdateClientPrivate::refusePackage(const QString& reason) const
{
    SOFTWAREUPDATE_LOG(Log::eError, "zk::SoftwareUpdateClient::downloadFinished",
                       "the signature of ", downloadPath, " is refused: ", reason);
    q->abortDownload();
    if (windows.parent()) {
        windows.showInstallationFailed();
    }
}

void SoftwareUpdateClient::abortDownload()
{
    if (d->download) {
        d->download.reset(); // and its file
    } else {
        PackageDownload::erase(d->downloadPath);
    }
    d->downloader->abortDownload();
    d->windows.closeProgress();
    d->closeEmptyList();
}

void SoftwareUpdateClient::downloadFinished()
{
    if (d->windows.parent() && d->download && d->download->isReady()) {
        d->dispatch();
    }
}

void SoftwareUpdateClientPrivate::dispatch()
{
    struct Installer
    {
        QLatin1String suffix;
        void (SoftwareUpdateClient::*install)();
    };
    static const Installer installers[] = {
        {QLatin1String("exe"), &SoftwareUpdateClient::installEXEPackage},
        {QLatin1String("pkg"), &SoftwareUpdateClient::installMPKGPackage},
        {QLatin1String("mpkg"), &SoftwareUpdateClient::installMPKGPackage},
        {QLatin1String("zip"), &SoftwareUpdateClient::installZIPPackage},
        {QLatin1String("msi"), &SoftwareUpdateClient::installMSIPackage},
        {QLatin1String("deb"), &SoftwareUpdateClient::installDEBPackage},
        {QLatin1String("rpk"), &SoftwareUpdateClient::installRPKPackage},
        {QLatin1String("tar.gz"), &SoftwareUpdateClient::installTARGZPackage},
    };
    windows.closeProgress();
    windows.closeList();
    if (download->tree()) {
        zipUpdate = std::make_unique<ZipUpdate>(download->tree());
        download.reset(); // with the folder, in which there is no file
        offerRestart();
        return;
    }
    for (const Installer& installer : installers) {
        if (download->package().suffix == installer.suffix) {
            download->handOver();
            download.reset();
            (q->*installer.install)();
            return;
        }
    }
    const Epoch::Mark mark = downloads.mark();
    windows.showUnknownPackageType();
    if (mark.isCurrent()) {
        q->abortDownload();
    }
}

void SoftwareUpdateClient::installEXEPackage()
{
    SOFTWAREUPDATE_LOG(Log::eInfo, "zk::SoftwareUpdateClient::installEXEPackage", tryingToRun,
                       d->downloadPath);
    startInstaller(d->downloadPath);
}

void SoftwareUpdateClient::installMPKGPackage()
{
    if (!QDesktopServices::openUrl(QUrl::fromLocalFile(d->downloadPath))) {
        SOFTWAREUPDATE_LOG(Log::eError, "zk::SoftwareUpdateClient::installMPKGPackage",
                           "unable to open package!");
    }
}

// The next four are listed in documents, but installed by hand: the file stays where it is.
void SoftwareUpdateClient::installMSIPackage()
{
    SOFTWAREUPDATE_LOG(Log::eInfo, "zk::SoftwareUpdateClient::installMSIPackage", tryingToRun,
                       d->downloadPath);
}

void SoftwareUpdateClient::installRPKPackage()
{
    SOFTWAREUPDATE_LOG(Log::eInfo, "zk::SoftwareUpdateClient::installRPKPackage", tryingToRun,
                       d->downloadPath);
}

void SoftwareUpdateClient::installTARGZPackage()
{
    SOFTWAREUPDATE_LOG(Log::eInfo, "zk::SoftwareUpdateClient::installTARGZPackage", tryingToRun,
                       d->downloadPath);
}

void SoftwareUpdateClient::installDEBPackage()
{
    SOFTWAREUPDATE_LOG(Log::eInfo, "zk::SoftwareUpdateClient::installDEBPackage",
                       "SoftwareUpdateClient::installDEBPackage() -> ", tryingToRun,
                       d->downloadPath);
}

void SoftwareUpdateClient::installZIPPackage()
{
    if (!d->windows.parent()) {
        return;
    }
    d->zipUpdate = std::make_unique<ZipUpdate>(d->downloadPath);
    SOFTWAREUPDATE_LOG(Log::eInfo, "zk::SoftwareUpdateClient::installZIPPackage", "unzipping ",
                       d->downloadPath, " to ", d->zipUpdate->folder());
    if (d->zipUpdate->state() == ZipUpdate::eFailed) {
        d->windows.showInstallationFailed();
        return;
    }
    d->offerRestart();
}

void SoftwareUpdateClientPrivate::offerRestart() const
{
    // Gone as soon as another package takes its place.
    const QPointer<ZipUpdate> update = zipUpdate.get();
    if (windows.confirmRestart() && update &&
        update->waitUntilUnpacked(windows.parent(), windows.flags())) {
        q->startZipInstall();
    }
}

void SoftwareUpdateClient::startZipInstall()
{
    if (d->windows.parent()) {
        ZipUpdate::replaceApplication(d->zipUpdate.get());
        d->windows.showInstallationFailed();
    }
}

} // namespace zk

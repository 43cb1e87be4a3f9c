// From the Install button to the installer: question, download, dispatch.

#include "client/SoftwareUpdateClient.h"
#include "ui/MessageBox.h"

#include "install/DownloadTarget.h"
#include "install/LinkRule.h"
#include "install/ProcessStart.h"
#include "install/ProgressScale.h"
#include "install/SignatureCheck.h"
#include "support/DialogFlags.h"
#include "support/FileUtils.h"
#include "support/Log.h"
#include "support/Minisign.h"
#include "ui/SoftwareUpdateAvailableDialog.h"

#include <QDesktopServices>
#include <QDir>
#include <QFileInfo>
#include <QProgressDialog>

namespace zk {

void SoftwareUpdateClient::installPackage(int itemIndex)
{
    constexpr char function[] = "zk::SoftwareUpdateClient::installPackage";
    if (itemIndex < 0 || itemIndex >= m_packages.size()) {
        SOFTWAREUPDATE_LOG(Log::eWarning, function, "there is no package in row ", itemIndex);
        return;
    }
    m_installRows = {itemIndex};
    const PackageInfo package = m_packages.at(itemIndex);
    const QPointer<SoftwareUpdateClient> self(this);
    const bool isConfirmed = confirmInstallation();
    if (!self) {
        return;
    }
    if (!isConfirmed) {
        SOFTWAREUPDATE_LOG(Log::eInfo, function, "user rejected installation");
        return;
    }
    if (m_download.state != Download::eNone) {
        abortDownload();
    }
    startDownload(package);
}

bool SoftwareUpdateClient::confirmInstallation()
{
    QWidget* const parent = m_updateAvailableDialog;
    auto* const box =
        new QMessageBox(QMessageBox::Warning, tr("Install Package"),
                        tr("After downloading the package, the installer will ask you to restart "
                           "the application!"),
                        QMessageBox::NoButton, parent, sheetDialogFlags(parent));
    box->addButton(tr("Cancel Install"), QMessageBox::RejectRole);
    box->addButton(tr("Proceed"), QMessageBox::AcceptRole);
    return execMessageBox(box) == 1;
}

void SoftwareUpdateClient::startDownload(const PackageInfo& package)
{
    if (!isOpenableLink(package.url)) {
        SOFTWAREUPDATE_LOG(Log::eError, "zk::SoftwareUpdateClient::installPackage",
                           "package is not downloaded: ", logText(package.url));
        showErrorBox(tr("Download Error"),
                     tr("Error code %1").arg(int(QNetworkReply::ProtocolUnknownError)));
        return;
    }
    const QString folder = FileUtils::createTempDir();
    if (folder.isEmpty()) {
        SOFTWAREUPDATE_LOG(Log::eError, "zk::SoftwareUpdateClient::installPackage",
                           "could not create a temporary folder below ", QDir::tempPath());
        showErrorBox(tr("Download Error"),
                     tr("Error code %1").arg(int(QNetworkReply::UnknownContentError)));
        return;
    }
    m_download.package = package;
    m_download.state = Download::eRunning;
    m_download.isSignature = false;
    ++m_download.number;
    m_downloadPath = folder + QLatin1Char('/') + downloadFileName(package.url, package.suffix);
    if (!m_progressDialog) {
        createProgressDialog();
    }
    m_downloader->setProxy(networkProxy(getSettings().serverUrl));
    m_downloader->downloadFile(package.url, m_downloadPath);
}

void SoftwareUpdateClient::createProgressDialog()
{
    m_progressDialog = new QProgressDialog(m_updateAvailableDialog, m_windowFlags);
    m_progressDialog->setLabelText(tr("Download Progress"));
    // The body of a redirect reaches 100 % too; the dialog must outlive it.
    m_progressDialog->setAutoReset(false);
    m_progressDialog->setAutoClose(false);
    m_progressDialog->setMinimumDuration(0);
    connect(m_progressDialog.data(), &QProgressDialog::canceled, this,
            &SoftwareUpdateClient::abortDownload);
    m_progressDialog->show();
}

void SoftwareUpdateClient::downloadProgress(qint64 value, qint64 total)
{
    if (m_download.isSignature && qMax(value, total) > Minisign::maximumSignatureSize) {
        failDownloadSoon(QNetworkReply::UnknownContentError);
    }
    if (!m_progressDialog) {
        return;
    }
    if (total < 0) {
        m_progressDialog->setRange(0, 0);
        return;
    }
    const qint64 scale = progressScale(total);
    m_progressDialog->setRange(0, int(total / scale));
    m_progressDialog->setValue(int(value / scale));
}

// Called for every reply before finished(): the place that knows whether the file is whole.
void SoftwareUpdateClient::downloadCompleted(const FileDownloader::Result& result)
{
    if (m_isAborting) {
        return;
    }
    if (result.isOutdated || m_download.state == Download::eNone) {
        // Not every reply can be aborted (those of file: URLs cannot): one that was given up may
        // come late, and has been written to the file of the download that followed it, if any.
        eraseDownload();
        return;
    }
    if (result.isWholeFile() && m_download.state == Download::eRunning) {
        m_download.state = Download::eComplete;
        return;
    }
    SOFTWAREUPDATE_LOG(Log::eWarning, "zk::SoftwareUpdateClient::downloadFinished",
                       "download is not complete: network error ", int(result.error),
                       ", HTTP status ", result.httpStatus, ", ",
                       result.allWritten ? "written to " : "could not be written to ",
                       m_downloadPath);
    const bool isStatusToBlame = result.allWritten && result.httpStatus != 200;
    failDownloadSoon(isStatusToBlame ? result.httpStatus : int(QNetworkReply::UnknownContentError));
}

// The first failure of a download counts; an aborted one has none.
void SoftwareUpdateClient::failDownloadSoon(int code)
{
    if (m_isAborting || m_download.state != Download::eRunning) {
        return;
    }
    m_download.state = Download::eFailed;
    const auto report = [this, code, number = m_download.number] {
        if (m_download.number == number && m_download.state == Download::eFailed) {
            downloadError(QNetworkReply::NetworkError(code));
        }
    };
    QMetaObject::invokeMethod(this, report, Qt::QueuedConnection);
}

void SoftwareUpdateClient::downloadError(QNetworkReply::NetworkError errorCode)
{
    m_download.state = Download::eFailed;
    if (!m_parentWidget) {
        // Nobody is there to be told, or to install anything.
        eraseDownload();
        return;
    }
    if (m_download.isSignature) {
        rejectPackage(QStringLiteral("it could not be downloaded, error code %1").arg(errorCode));
        return;
    }
    const int number = m_download.number;
    if (errorCode != QNetworkReply::OperationCanceledError) {
        const QPointer<SoftwareUpdateClient> self(this);
        showErrorBox(tr("Download Error"), tr("Error code %1").arg(int(errorCode)));
        if (!self) {
            return;
        }
    }
    if (m_download.number == number) {
        abortDownload();
    }
}

void SoftwareUpdateClient::abortDownload()
{
    // Aborting emits error(5), which leads here again.
    if (m_isAborting) {
        return;
    }
    m_isAborting = true;
    m_download.state = Download::eNone;
    m_downloader->abortDownload();
    deleteProgressDialog();
    eraseDownload();
    m_signatureCheck.reset();
    m_isAborting = false;
}

void SoftwareUpdateClient::eraseDownload()
{
    if (m_downloadPath.isEmpty()) {
        return;
    }
    if (m_signatureCheck) {
        // Of bytes that nobody wants any more.
        m_signatureCheck->cancel();
    }
    for (const QString& path : {m_downloadPath, signaturePath()}) {
        const QFileInfo file(path);
        if ((file.exists() || file.isSymLink()) && !FileUtils::erase(path)) {
            SOFTWAREUPDATE_LOG(Log::eError, "zk::SoftwareUpdateClient::abortDownload",
                               "could not remove downloaded files: ", path);
        }
    }
    // Only an empty folder goes this way, which is all that is left of ours.
    QDir().rmdir(QFileInfo(m_downloadPath).absolutePath());
}

void SoftwareUpdateClient::downloadFinished()
{
    if (!m_parentWidget || m_download.state != Download::eComplete) {
        return;
    }
    if (!m_publicKeys.isEmpty()) {
        if (!m_download.isSignature) {
            downloadSignature();
            return;
        }
        checkSignature();
        return;
    }
    installDownload();
}

void SoftwareUpdateClient::installDownload()
{
    m_download.state = Download::eNone;
    deleteProgressDialog();
    deleteUpdateAvailableDialog();
    dispatchPackage(m_download.package.suffix);
}

void SoftwareUpdateClient::dispatchPackage(const QString& suffix)
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
    for (const Installer& installer : installers) {
        if (suffix == installer.suffix) {
            (this->*installer.install)();
            return;
        }
    }
    const QPointer<SoftwareUpdateClient> self(this);
    showErrorBox(tr("Download Error"), tr("Unknown package type! Installation cannot proceed!"));
    if (self) {
        abortDownload();
    }
}

void SoftwareUpdateClient::showErrorBox(const QString& title, const QString& text)
{
    execMessageBox(new QMessageBox(QMessageBox::Critical, title, text, QMessageBox::Ok,
                                   m_parentWidget, m_windowFlags));
}

void SoftwareUpdateClient::showInstallationFailed()
{
    showErrorBox(tr("Installation failed"),
                 tr("Installation process failed. If problem persists try manual install."));
}

void SoftwareUpdateClient::installEXEPackage()
{
    SOFTWAREUPDATE_LOG(Log::eInfo, "zk::SoftwareUpdateClient::installEXEPackage", "trying to run ",
                       m_downloadPath);
    startInstaller(m_downloadPath);
}

void SoftwareUpdateClient::installMPKGPackage()
{
    if (!QDesktopServices::openUrl(QUrl::fromLocalFile(m_downloadPath))) {
        SOFTWAREUPDATE_LOG(Log::eError, "zk::SoftwareUpdateClient::installMPKGPackage",
                           "unable to open package!");
    }
}

// Listed in documents, but installed by hand: the file stays where it is.
void SoftwareUpdateClient::installMSIPackage()
{
    SOFTWAREUPDATE_LOG(Log::eInfo, "zk::SoftwareUpdateClient::installMSIPackage", "trying to run ",
                       m_downloadPath);
}

void SoftwareUpdateClient::installRPKPackage()
{
    SOFTWAREUPDATE_LOG(Log::eInfo, "zk::SoftwareUpdateClient::installRPKPackage", "trying to run ",
                       m_downloadPath);
}

void SoftwareUpdateClient::installTARGZPackage()
{
    SOFTWAREUPDATE_LOG(Log::eInfo, "zk::SoftwareUpdateClient::installTARGZPackage",
                       "trying to run ", m_downloadPath);
}

void SoftwareUpdateClient::installDEBPackage()
{
    SOFTWAREUPDATE_LOG(Log::eInfo, "zk::SoftwareUpdateClient::installDEBPackage",
                       "SoftwareUpdateClient::installDEBPackage() -> trying to run ",
                       m_downloadPath);
}

} // namespace zk

// A downloaded zip package: unpacking it, asking for the restart, and handing over to the program
// that swaps the application's folder.

#include "client/SoftwareUpdateClient.h"

#include "install/DownloadManager.h"
#include "support/Log.h"
#include "support/Unzipper.h"
#include "ui/MessageBox.h"

#include <QCoreApplication>
#include <QDir>
#include <QEventLoop>
#include <QFile>
#include <QFileInfo>
#include <QProgressDialog>

namespace zk {

namespace {

bool isTreeIntact(const DownloadManager* manager)
{
    return manager && manager->unzipper() && manager->unzipper()->isIntact();
}

} // namespace

void SoftwareUpdateClient::installZIPPackage()
{
    if (!m_parentWidget) {
        return;
    }
    startUnpacking();
    SOFTWAREUPDATE_LOG(Log::eInfo, "zk::SoftwareUpdateClient::installZIPPackage", "unzipping ",
                       m_downloadPath, " to ", m_unpacking.folder);
    if (m_unpacking.state == Unpacking::eFailed) {
        showInstallationFailed();
        return;
    }

    auto* const box =
        new QMessageBox(QMessageBox::Warning, tr("Restart required"),
                        tr("Please restart your application to finish the installation process."),
                        QMessageBox::NoButton, m_parentWidget, m_windowFlags);
    box->addButton(tr("Restart later"), QMessageBox::RejectRole);
    box->addButton(tr("Restart now"), QMessageBox::AcceptRole);
    const QPointer<SoftwareUpdateClient> self(this);
    const bool isRestartWanted = execMessageBox(box) == 1;
    if (self && isRestartWanted && waitForUnpacking()) {
        startZipInstall();
    }
}

void SoftwareUpdateClient::startUnpacking()
{
    if (m_unpacking.manager) {
        // Only the newest package counts, and its tree alone may be handed over.
        m_unpacking.manager->disconnect(this);
        if (m_unpacking.manager->unzipper()) {
            m_unpacking.manager->unzipper()->disconnect(this);
        }
    }
    unpackingEnded(Unpacking::eNone, QString());
    auto* const manager = new DownloadManager;
    // Nobody deletes it while the application runs: what it has unpacked may be installed later.
    manager->setParent(qApp);
    m_unpacking.manager = manager;
    const QString zipFile = m_downloadPath;
    manager->unzipPackage(zipFile);
    if (!manager->unzipper()) {
        m_unpacking.state = Unpacking::eFailed;
        return;
    }
    m_unpacking.state = Unpacking::eRunning;
    connect(manager, &DownloadManager::unzippingDone, this, [this, zipFile](const QString& folder) {
        // The archive is gone by now.
        QDir().rmdir(QFileInfo(zipFile).absolutePath());
        unpackingEnded(Unpacking::eDone, folder);
    });
    // After the manager, which tells the user.
    connect(manager->unzipper(), &Unzipper::unzippingFailed, this, [this, zipFile] {
        QFile::remove(zipFile);
        QDir().rmdir(QFileInfo(zipFile).absolutePath());
        unpackingEnded(Unpacking::eFailed, QString());
    });
    // Each manager for itself: the thread of an earlier package must not outlive us either.
    connect(qApp, &QCoreApplication::aboutToQuit, manager, &DownloadManager::cancelUnpacking);
    connect(this, &QObject::destroyed, manager, [manager, zipFile] {
        manager->cancelUnpacking();
        // Gone already if everything is unpacked.
        QFile::remove(zipFile);
        QDir().rmdir(QFileInfo(zipFile).absolutePath());
    });
}

void SoftwareUpdateClient::unpackingEnded(Unpacking::State state, const QString& folder)
{
    m_unpacking.state = state;
    m_unpacking.folder = folder;
    if (m_unpacking.waiting) {
        m_unpacking.waiting->quit();
    }
}

// True when the tree is there; whatever else ends the wait leaves it for later.
bool SoftwareUpdateClient::waitForUnpacking()
{
    if (m_unpacking.state != Unpacking::eRunning) {
        return m_unpacking.state == Unpacking::eDone && m_parentWidget;
    }
    const QPointer<SoftwareUpdateClient> self(this);
    const QPointer<DownloadManager> manager = m_unpacking.manager;
    const QPointer<QProgressDialog> dialog = new QProgressDialog(m_parentWidget, m_windowFlags);
    dialog->setLabelText(
        DownloadManager::tr("Unpacking '%1'").arg(QFileInfo(m_downloadPath).fileName()));
    dialog->setRange(0, 0);
    dialog->setMinimumDuration(0);
    dialog->setWindowModality(Qt::ApplicationModal);
    QEventLoop loop;
    connect(dialog.data(), &QProgressDialog::canceled, &loop, &QEventLoop::quit);
    connect(dialog.data(), &QObject::destroyed, &loop, &QEventLoop::quit);
    connect(this, &QObject::destroyed, &loop, &QEventLoop::quit);
    m_unpacking.waiting = &loop;
    dialog->show();
    loop.exec();
    delete dialog;
    return self && m_parentWidget && m_unpacking.manager == manager &&
           m_unpacking.state == Unpacking::eDone;
}

void SoftwareUpdateClient::startZipInstall()
{
    if (!m_parentWidget) {
        return;
    }
    constexpr char function[] = "zk::SoftwareUpdateClient::startZipInstall";
    const QString name = QStringLiteral("UpdateInstaller");
    const QString applicationDir = QCoreApplication::applicationDirPath();
    const QString source = applicationDir + QLatin1Char('/') + name;
    QDir folder(applicationDir);
    if (folder.exists() && QFile::exists(source)) {
        folder.cdUp();
        // Out of the folder that is to be replaced while it runs.
        const QString target = folder.filePath(name);
        const QString program = QCoreApplication::applicationFilePath();
        SOFTWAREUPDATE_LOG(Log::eInfo, function, "starting zip installation application ", target,
                           " -> removing ", applicationDir, ", renaming ", m_unpacking.folder,
                           "  to ", applicationDir, " and restarting ", program);
        if (!QFile::exists(target) && !QFile::copy(source, target)) {
            SOFTWAREUPDATE_LOG(Log::eError, function, "could not copy file to ", target);
        } else if (!m_unpacking.folder.isEmpty() && !isTreeIntact(m_unpacking.manager)) {
            // Somebody has tidied up meanwhile: what is left must not become the application.
            SOFTWAREUPDATE_LOG(Log::eError, function, "unpacked files are gone from ",
                               m_unpacking.folder);
        } else if (!m_unpacking.folder.isEmpty()) {
            DownloadManager::startUpdate(target, applicationDir, m_unpacking.folder,
                                         program.section(QLatin1Char('/'), -1));
        }
    } else {
        SOFTWAREUPDATE_LOG(Log::eError, function,
                           "one of the following file/dir is missing: ", source, " or ",
                           applicationDir);
    }
    showInstallationFailed();
}

} // namespace zk

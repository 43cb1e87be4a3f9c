#include "client/ZipUpdate.h"

#include "install/DownloadManager.h"
#include "install/StagingTree.h"
#include "support/Log.h"
#include "support/Unzipper.h"

#include <QCoreApplication>
#include <QDir>
#include <QEventLoop>
#include <QFile>
#include <QFileInfo>
#include <QProgressDialog>

#include <utility>

namespace zk {

namespace {

/** Copies UpdateInstaller out of the folder that it is to replace; false if that fails. */
bool copyInstaller(const QString& source, const QString& target)
{
    return QFile::exists(target) || QFile::copy(source, target);
}

} // namespace

ZipUpdate::ZipUpdate(QString zipFile)
    : m_zipFile(std::move(zipFile))
    , m_manager(new DownloadManager)
{
    // Lives as long as the application: so does the unpacked tree, which may be asked for later.
    m_manager->setParent(qApp);
    m_manager->unzipPackage(m_zipFile);
    if (!m_manager->unzipper()) {
        m_state = eFailed;
        return;
    }
    connect(m_manager, &DownloadManager::unzippingDone, this, [this](const QString& folder) {
        removeArchive();
        end(eUnpacked, folder);
    });
    // Connected after the manager, which tells the user first.
    connect(m_manager->unzipper(), &Unzipper::unzippingFailed, this, [this] {
        removeArchive();
        end(eFailed, QString());
    });
    // The thread must not outlive the application.
    connect(qApp, &QCoreApplication::aboutToQuit, m_manager, &DownloadManager::cancelUnpacking);
}

ZipUpdate::ZipUpdate(std::shared_ptr<const StagingTree> tree)
    : m_tree(std::move(tree))
    , m_state(eUnpacked)
    , m_folder(m_tree->folder())
{
}

ZipUpdate::~ZipUpdate()
{
    if (m_manager && m_state == eUnpacking) {
        m_manager->cancelUnpacking();
    }
    removeArchive();
}

/** With the folder that it was downloaded to. */
void ZipUpdate::removeArchive() const
{
    if (m_zipFile.isEmpty()) {
        return;
    }
    QFile::remove(m_zipFile);
    QDir().rmdir(QFileInfo(m_zipFile).absolutePath());
}

void ZipUpdate::end(State state, const QString& folder)
{
    m_state = state;
    m_folder = folder;
    emit ended();
}

bool ZipUpdate::waitUntilUnpacked(QWidget* parent, Qt::WindowFlags flags)
{
    if (m_state != eUnpacking) {
        return m_state == eUnpacked;
    }
    const QPointer<ZipUpdate> self(this);
    const QPointer<QProgressDialog> dialog = new QProgressDialog(parent, flags);
    dialog->setLabelText(
        DownloadManager::tr("Unpacking '%1'").arg(QFileInfo(m_zipFile).fileName()));
    dialog->setRange(0, 0);
    dialog->setMinimumDuration(0);
    dialog->setWindowModality(Qt::ApplicationModal);
    QEventLoop loop;
    connect(dialog.data(), &QProgressDialog::canceled, &loop, &QEventLoop::quit);
    connect(dialog.data(), &QObject::destroyed, &loop, &QEventLoop::quit);
    connect(this, &ZipUpdate::ended, &loop, &QEventLoop::quit);
    connect(this, &QObject::destroyed, &loop, &QEventLoop::quit);
    dialog->show();
    loop.exec();
    delete dialog;
    return self && m_state == eUnpacked;
}

// Temporary folders are tidied up by other programs too: never install an incomplete tree.
bool ZipUpdate::isIntact() const
{
    if (m_tree) {
        return m_tree->isIntact();
    }
    return m_manager && m_manager->unzipper() && m_manager->unzipper()->isIntact();
}

void ZipUpdate::replaceApplication(const ZipUpdate* update)
{
    constexpr char function[] = "zk::SoftwareUpdateClient::startZipInstall";
    const QString name = QStringLiteral("UpdateInstaller");
    const QString applicationDir = QCoreApplication::applicationDirPath();
    const QString source = applicationDir + QLatin1Char('/') + name;
    QDir parentDir(applicationDir);
    if (!parentDir.exists() || !QFile::exists(source)) {
        SOFTWAREUPDATE_LOG(Log::eError, function,
                           "one of the following file/dir is missing: ", source, " or ",
                           applicationDir);
        return;
    }
    parentDir.cdUp();
    const QString target = parentDir.filePath(name);
    const QString program = QCoreApplication::applicationFilePath();
    const QString newDir = update ? update->folder() : QString();
    SOFTWAREUPDATE_LOG(Log::eInfo, function, "starting zip installation application ", target,
                       " -> removing ", applicationDir, ", renaming ", newDir, "  to ",
                       applicationDir, " and restarting ", program);
    if (!copyInstaller(source, target)) {
        SOFTWAREUPDATE_LOG(Log::eError, function, "could not copy file to ", target);
    } else if (!newDir.isEmpty() && !update->isIntact()) {
        SOFTWAREUPDATE_LOG(Log::eError, function, "unpacked files are gone from ", newDir);
    } else if (!newDir.isEmpty()) {
        DownloadManager::startUpdate(target, applicationDir, newDir,
                                     program.section(QLatin1Char('/'), -1));
    }
}

} // namespace zk

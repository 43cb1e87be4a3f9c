// Zip packages: unpacked in the background for the client, or under a progress dialog for a host
// that has a command interpreter copy them over the installation.

#include "install/DownloadManagerPrivate.h"
#include "support/CommandLine.h"
#include "support/Connect.h"
#include "support/Exception.h"
#include "support/FileUtils.h"
#include "support/Log.h"
#include "support/ProcessStart.h"
#include "support/ProgressScale.h"
#include "support/Unzipper.h"
#include "support/ZipReader.h"
#include "ui/MessageBox.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QGuiApplication>
#include <QProgressDialog>

#include <limits>
#include <memory>

namespace zk {

namespace {

void showCriticalBox(const QString& title, const QString& text, Qt::TextFormat format)
{
    auto* const box = new QMessageBox(QMessageBox::Critical, title, text, QMessageBox::Ok);
    box->setTextFormat(format);
    execMessageBox(box);
}

} // namespace

void DownloadManager::unzipPackage(const QString& zipFile)
{
    const QString targetDir = FileUtils::createTempDir();
    if (targetDir.isEmpty() || (!QDir(targetDir).exists() && !QDir().mkdir(targetDir))) {
        SOFTWAREUPDATE_LOG(
            Log::eError, "zk::DownloadManager::unzipPackage",
            "DownloadManager::unzipPackage() -> Could not create folder to unzip into!");
        return;
    }
    SOFTWAREUPDATE_LOG(Log::eInfo, "zk::DownloadManager::unzipPackage",
                       "DownloadManager::installPackage() -> trying to extract ", zipFile, " to ",
                       targetDir);
    if (d->unzipper) {
        // The one that exists keeps its own folder.
        QDir().rmdir(targetDir);
        return;
    }
    d->unzipper = new Unzipper(zipFile, targetDir, false);
    d->unzipper->setParent(this);
    d->unzipDir = targetDir;
    zk::connect(d->unzipper, SIGNAL(unzippingDone(QString)), this, SLOT(unzippingFinished(QString)),
                Qt::AutoConnection);
    zk::connect(d->unzipper, SIGNAL(unzippingFailed(QString)), this, SLOT(unzippingFailed(QString)),
                Qt::AutoConnection);
}

Unzipper* DownloadManager::unzipper() const
{
    return d->unzipper;
}

void DownloadManager::cancelUnpacking()
{
    if (d->unzipper) {
        d->unzipper->disconnect(this);
        d->unzipper->cancel();
        d->unzipper->wait();
        // Only an empty folder goes this way: a whole tree stays.
        QDir().rmdir(d->unzipDir);
    }
}

void DownloadManager::unzippingFinished(const QString& folder)
{
    if (d->unzipper) {
        d->unzipper->removeZipFile();
    }
    emit unzippingDone(folder);
}

void DownloadManager::unzippingFailed(const QString& message)
{
    if (!d->unzipDir.isEmpty()) {
        // Removes the folder only if it is empty.
        QDir().rmdir(d->unzipDir);
    }
    // The message has names from the archive in it, and the text is shown as rich text.
    showCriticalBox(QCoreApplication::applicationName(),
                    tr("Downloaded file could not be unpacked:<br>") + message.toHtmlEscaped(),
                    Qt::RichText);
}

void DownloadManager::incProgress(qint64 bytes)
{
    if (!d->progressDialog) {
        return;
    }
    d->progressRest += bytes;
    const qint64 value = d->progressDialog->value() + d->progressRest / d->progressScale;
    d->progressRest %= d->progressScale;
    d->progressDialog->setValue(
        int(qBound(qint64(0), value, qint64(std::numeric_limits<int>::max()))));
}

void DownloadManagerPrivate::startProgress(qint64 total)
{
    progressScale = zk::progressScale(total);
    progressRest = 0;
    progressDialog->setAutoReset(false);
    progressDialog->setAutoClose(false);
    progressDialog->setMinimumDuration(0);
    // Only a modal one handles events when its value changes: it paints itself, and its button
    // works, although the reader keeps this thread busy.
    progressDialog->setWindowModality(Qt::ApplicationModal);
    progressDialog->setRange(0, int(total / progressScale));
    // The initial value is -1.
    progressDialog->setValue(0);
}

/** False when the user cancelled. Throws IOException. */
bool DownloadManagerPrivate::unpackWithProgress(const QString& zipFile, const QString& unpackDir)
{
    ZipReader reader(zipFile, nullptr);
    reader.open(QIODevice::NotOpen);
    // Never restored: what follows is up to the host.
    QGuiApplication::setOverrideCursor(Qt::WaitCursor);

    const auto dialog = std::make_unique<QProgressDialog>();
    dialog->setLabelText(DownloadManager::tr("Unpacking '%1'").arg(zipFile));
    progressDialog = dialog.get();
    zk::connect(&reader, SIGNAL(writeBytes(qint64)), q, SLOT(incProgress(qint64)),
                Qt::AutoConnection);
    QObject::connect(dialog.get(), &QProgressDialog::canceled, &reader, &ZipReader::abort);
    const QStringList entries = reader.fileList();
    startProgress(reader.uncompressedSize(entries));
    reader.extractFiles(unpackDir, QRegExp(), QString(), true, entries);
    return !reader.isAborted();
}

void DownloadManager::runZipInstaller(const QString& zipFile)
{
    QString installDir = QDir(QCoreApplication::applicationDirPath()).absolutePath();
    const QString caption =
        tr("Select Installation Path for '%1'").arg(QFileInfo(zipFile).fileName());
    const QPointer<DownloadManager> self(this);
    if (!FileUtils::openDirectoryDialog(installDir, caption, installDir, nullptr) || !self) {
        return;
    }
    const QString unpackDir = FileUtils::createTempDir();
    if (unpackDir.isEmpty()) {
        SOFTWAREUPDATE_LOG(Log::eError, "zk::DownloadManager::runZipInstaller",
                           "could not create a temporary folder below ", QDir::tempPath());
        showCriticalBox(
            QCoreApplication::translate("zk::SoftwareUpdateClient", "Installation failed"),
            QCoreApplication::translate("zk::SoftwareUpdateClient",
                                        "Installation process failed. If problem "
                                        "persists try manual install."),
            Qt::PlainText);
        return;
    }
    try {
        if (!d->unpackWithProgress(zipFile, unpackDir) || !self) {
            (void)FileUtils::erase(unpackDir); // what a cancel after the last file has left
            return;
        }
    } catch (const IOException& error) {
        (void)FileUtils::erase(unpackDir); // nothing but the folder itself is left in it
        showCriticalBox(QStringLiteral("Unpacking failed"), error.message(), Qt::PlainText);
        throw IOException(error);
    }
    const QString executable = findDefaultExecutable(QDir(unpackDir));
    const QString program = executable.isEmpty() ? QCoreApplication::applicationFilePath()
                                                 : QDir(installDir).filePath(executable);
    startCopyAndLaunch(
        FileUtils::nativePath(QStringLiteral("cmd.exe"), SearchPath{qEnvironmentVariable("PATH")}),
        {FileUtils::nativePath(unpackDir), FileUtils::nativePath(installDir),
         FileUtils::nativePath(program)});
}

// By value as published.
QString
DownloadManager::findDefaultExecutable(QDir folder) // NOLINT(performance-unnecessary-value-param)
{
    const QStringList programs = folder.entryList(QDir::Files | QDir::Executable, QDir::Size);
    if (!programs.isEmpty()) {
        return programs.first();
    }
    // Links could lead back up.
    const QStringList folders =
        folder.entryList(QDir::Dirs | QDir::NoDotAndDotDot | QDir::NoSymLinks, QDir::Unsorted);
    for (const QString& name : folders) {
        const QString found = findDefaultExecutable(QDir(folder.filePath(name)));
        if (!found.isEmpty()) {
            return name + QLatin1Char('/') + found;
        }
    }
    return QString();
}

} // namespace zk

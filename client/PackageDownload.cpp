#include "client/PackageDownload.h"

#include "download/BodyHash.h"
#include "download/PartialFile.h"
#include "support/BackgroundTask.h"
#include "support/FileUtils.h"
#include "support/Log.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <utility>

namespace zk {

PackageDownload::PackageDownload(FileDownloader& downloader, PackageInfo package, QUrl url,
                                 QString path, QStringList publicKeys)
    : m_downloader(downloader)
    , m_package(std::move(package))
    , m_url(std::move(url))
    , m_path(std::move(path))
    , m_publicKeys(std::move(publicKeys))
{
    connect(&m_downloader, &FileDownloader::progress, this, &PackageDownload::report);
    connect(&m_downloader, &FileDownloader::error, this, &PackageDownload::fail);
    // finished() comes after errors as well; only this callback knows whether the file is whole.
    m_downloader.setCompletionCallback(
        [this](const FileDownloader::Result& result) { complete(result); });
}

PackageDownload::~PackageDownload()
{
    m_downloader.disconnect(this);
    m_downloader.setBodyCallback({});
    m_resumable.reset();
    m_differential.reset();
    if (m_step == eHandedOver) {
        m_downloader.setCompletionCallback({});
        return;
    }
    // A reply for a file: URL cannot be aborted, and is written to the same path when it ends.
    m_downloader.setCompletionCallback(
        [path = m_path](const FileDownloader::Result& /*late*/) { erase(path); });
    m_downloader.abortDownload();
    if (m_verification) {
        // Its file is open, and cannot be removed on every system before it ends.
        connect(m_verification.get(), &BackgroundTask::done, [path = m_path] { erase(path); });
        BackgroundTask::abandon(std::move(m_verification));
    } else {
        erase(m_path);
    }
}

// A legacy signature is one of the file itself.
bool PackageDownload::isHashed() const
{
    return m_signature && !m_signature->isLegacy();
}

QString PackageDownload::signaturePath() const
{
    return m_path + QLatin1String(".minisig");
}

void PackageDownload::setDifferential(DifferentialUpdate::Source source)
{
    m_differential = std::make_unique<DifferentialUpdate>(std::move(source));
    DifferentialUpdate* const update = m_differential.get();
    connect(update, &DifferentialUpdate::progressed, this, &PackageDownload::progressed);
    connect(update, &DifferentialUpdate::waiting, this, &PackageDownload::waiting);
    connect(update, &DifferentialUpdate::busy, this, &PackageDownload::verifying);
    connect(update, &DifferentialUpdate::failed, this, &PackageDownload::fail);
    connect(update, &DifferentialUpdate::ready, this, [this] { judge(QString()); });
    connect(update, &DifferentialUpdate::unusable, this, [this] {
        m_differential.release()->deleteLater(); // it is the sender
        startWhole();
    });
}

std::shared_ptr<StagingTree> PackageDownload::tree() const
{
    return m_differential ? m_differential->tree() : nullptr;
}

void PackageDownload::start()
{
    if (m_differential) {
        m_step = eDifferential;
        m_differential->start();
    } else {
        startWhole();
    }
}

void PackageDownload::startWhole()
{
    m_step = eSignature;
    if (m_publicKeys.isEmpty()) {
        downloadPackage();
    } else {
        fetch(signatureUrl(m_url), signaturePath());
    }
}

void PackageDownload::downloadPackage()
{
    m_step = ePackage;
    fetch(m_url, m_path);
}

// Ranges are a matter of HTTP.
void PackageDownload::fetch(const QUrl& url, const QString& path)
{
    if (m_retries && url.scheme().startsWith(QLatin1String("http"))) {
        fetchResumable(url, path);
        return;
    }
    if (m_step == ePackage && isHashed()) {
        m_hash = std::make_shared<BodyHash>();
        // Shared: the downloader may keep it longer.
        m_downloader.setBodyCallback(
            [hash = m_hash](const char* data, qint64 size) { hash->add(data, size); });
    }
    m_downloader.downloadFile(url, path);
}

void PackageDownload::fetchResumable(const QUrl& url, const QString& path)
{
    auto partial = m_step == ePackage ? m_retries->cache.open(url, m_publicKeys) : nullptr;
    partial = partial ? std::move(partial) : PartialFile::beside(path);
    if (!partial) {
        SOFTWAREUPDATE_LOG(Log::eError, "zk::SoftwareUpdateClient::installPackage",
                           "could not write to ", path);
        fail(QNetworkReply::UnknownContentError);
        return;
    }
    m_resumable = std::make_unique<ResumableDownload>(url, path, std::move(partial),
                                                      m_retries->policy, m_retries->proxy);
    connect(m_resumable.get(), &ResumableDownload::progressed, this, &PackageDownload::report);
    connect(m_resumable.get(), &ResumableDownload::waiting, this, &PackageDownload::waiting);
    connect(m_resumable.get(), &ResumableDownload::ended, this,
            [this](QNetworkReply::NetworkError code) {
                FileDownloader::Result result;
                result.allWritten = code == QNetworkReply::NoError;
                if (result.allWritten) {
                    complete(result);
                } else {
                    fail(code);
                }
            });
    if (m_step == ePackage && isHashed()) {
        m_resumable->enableHash();
    }
    m_resumable->start();
}

void PackageDownload::report(qint64 received, qint64 total)
{
    if (m_step == eSignature && qMax(received, total) > qint64(trust::maximumSignatureSize)) {
        fail(QNetworkReply::UnknownContentError);
    } else if (m_step == ePackage) {
        emit progressed(received, total);
    }
}

void PackageDownload::complete(const FileDownloader::Result& result)
{
    if (result.isOutdated) {
        // Of an earlier download, but written to the file of this one.
        erase(m_path);
        return;
    }
    if (!isDownloading()) {
        return;
    }
    if (result.isWholeFile() && !isEmptyPackage()) {
        // Queued: a message box inside the network's own signals would let the client, and the
        // network with it, be deleted under them.
        QMetaObject::invokeMethod(this, &PackageDownload::proceed, Qt::QueuedConnection);
        return;
    }
    const QString reason =
        result.isWholeFile() ? QStringLiteral("it is empty") : result.systemError;
    SOFTWAREUPDATE_LOG(Log::eWarning, "zk::SoftwareUpdateClient::downloadFinished",
                       "download is not complete: network error ", int(result.error),
                       ", HTTP status ", result.httpStatus, ", ",
                       result.allWritten ? "written to " : "could not be written to ", m_path, " ",
                       reason);
    fail(QNetworkReply::UnknownContentError);
}

/** Whether the package is an empty file of a type that would be opened or started. */
bool PackageDownload::isEmptyPackage() const
{
    const bool isStarted =
        m_package.suffix == QLatin1String("exe") || m_package.suffix == QLatin1String("pkg") ||
        m_package.suffix == QLatin1String("mpkg") || m_package.suffix == QLatin1String("zip");
    return m_step == ePackage && isStarted && QFileInfo(m_path).size() == 0;
}

// The first failure counts.
void PackageDownload::fail(QNetworkReply::NetworkError code)
{
    if (!isDownloading()) {
        return;
    }
    const bool isSignature = m_step == eSignature;
    m_step = eEnded;
    const auto announce = [this, code, isSignature] {
        if (isSignature) {
            emit refused(
                QStringLiteral("it could not be downloaded, error code %1").arg(int(code)));
        } else {
            emit failed(code);
        }
    };
    QMetaObject::invokeMethod(this, announce, Qt::QueuedConnection);
}

void PackageDownload::proceed()
{
    if (m_step == eSignature) {
        takeSignature();
    } else if (m_signature) {
        verify();
    } else {
        judge(QString());
    }
}

// What already speaks against the package saves its download.
void PackageDownload::takeSignature()
{
    QFile file(signaturePath());
    const QByteArray text = file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    auto accepted =
        PackageSignature::accept(text, {m_package.url.fileName(), m_package.release}, m_publicKeys);
    if (const auto* const complaint = std::get_if<QString>(&accepted)) {
        judge(*complaint);
        return;
    }
    m_signature = std::get<PackageSignature>(std::move(accepted));
    file.remove(); // in a folder of our own, where one that is left does no harm
    downloadPackage();
}

void PackageDownload::verify()
{
    if (isHashed()) {
        judge(
            m_signature->complaintAboutHash(m_resumable ? m_resumable->hash() : m_hash->result()));
        return;
    }
    m_step = eVerifying;
    m_verification = std::make_unique<BackgroundTask>(
        [path = m_path, signature = *m_signature](const std::atomic<bool>& /*isCancelled*/) {
            return signature.complaintAboutFile(path);
        });
    connect(m_verification.get(), &BackgroundTask::done, this, &PackageDownload::takeVerification);
    connect(qApp, &QCoreApplication::aboutToQuit, m_verification.get(), &BackgroundTask::cancel);
    emit verifying();
}

void PackageDownload::takeVerification(const QString& complaint)
{
    // What was read before a cancel may have been written over since.
    const QString changed = QStringLiteral("the file has changed meanwhile");
    const bool isCancelled = m_verification->isCancelled();
    // The sender is still at work.
    m_verification.release()->deleteLater();
    judge(isCancelled ? changed : complaint);
}

void PackageDownload::judge(const QString& complaint)
{
    m_step = complaint.isEmpty() ? eReady : eEnded;
    if (complaint.isEmpty()) {
        emit ready();
    } else {
        emit refused(complaint);
    }
}

void PackageDownload::erase(const QString& path)
{
    if (path.isEmpty()) {
        return;
    }
    for (const QString& each : {path, path + QLatin1String(".minisig")}) {
        const QFileInfo file(each);
        if ((file.exists() || file.isSymLink()) && !FileUtils::erase(each)) {
            SOFTWAREUPDATE_LOG(Log::eError, "zk::SoftwareUpdateClient::abortDownload",
                               "could not remove downloaded files: ", each);
        }
    }
    // Removes the folder only if it is empty.
    QDir().rmdir(QFileInfo(path).absolutePath());
}

} // namespace zk

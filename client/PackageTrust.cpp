// Signed packages: what is downloaded is started only if the maker has signed it.

#include "client/SoftwareUpdateClient.h"

#include "install/PackageSignature.h"
#include "install/SignatureCheck.h"
#include "support/FileUtils.h"
#include "support/Log.h"
#include "support/Minisign.h"

#include <QCoreApplication>
#include <QFile>
#include <QProgressDialog>

namespace zk {

void SoftwareUpdateClient::setPackagePublicKeys(const QStringList& keys)
{
    m_publicKeys = keys;
    for (const QString& key : keys) {
        if (!Minisign::parsePublicKey(key)) {
            SOFTWAREUPDATE_LOG(Log::eError, "zk::SoftwareUpdateClient::setPackagePublicKeys",
                               "this is no public key, nothing is accepted for it: ", key);
        }
    }
}

QString SoftwareUpdateClient::signaturePath() const
{
    return m_downloadPath + QLatin1String(".minisig");
}

void SoftwareUpdateClient::downloadSignature()
{
    m_download.state = Download::eRunning;
    m_download.isSignature = true;
    m_downloader->downloadFile(signatureUrl(m_download.package.url), signaturePath());
}

void SoftwareUpdateClient::checkSignature()
{
    m_download.state = Download::eChecking;
    if (m_progressDialog) {
        m_progressDialog->setRange(0, 0);
    }
    QFile file(signaturePath());
    const QByteArray signature = file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    m_signatureCheck = std::make_unique<SignatureCheck>(m_downloadPath, m_download.package,
                                                        signature, m_publicKeys);
    connect(m_signatureCheck.get(), &SignatureCheck::checked, this,
            &SoftwareUpdateClient::signatureChecked);
    connect(qApp, &QCoreApplication::aboutToQuit, m_signatureCheck.get(), &SignatureCheck::cancel);
}

void SoftwareUpdateClient::signatureChecked(const QString& complaint)
{
    // The sender is still at work.
    m_signatureCheck.release()->deleteLater();
    if (!m_parentWidget) {
        abortDownload();
        return;
    }
    if (!complaint.isEmpty()) {
        rejectPackage(complaint);
        return;
    }
    (void)FileUtils::erase(signaturePath()); // in a folder of our own, where it does no harm
    installDownload();
}

void SoftwareUpdateClient::rejectPackage(const QString& reason)
{
    SOFTWAREUPDATE_LOG(Log::eError, "zk::SoftwareUpdateClient::downloadFinished",
                       "the signature of ", m_downloadPath, " is refused: ", reason);
    abortDownload();
    showInstallationFailed();
}

} // namespace zk

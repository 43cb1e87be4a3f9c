// Signed packages: what is downloaded is started only if the maker has signed it.

#include "client/SoftwareUpdateClient.h"

#include "install/PackageSignature.h"
#include "support/FileUtils.h"
#include "support/Log.h"
#include "support/Minisign.h"

#include <QFile>

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

/** Whether the package may be started; if not, the user has been told, and nothing is left of it.
 */
bool SoftwareUpdateClient::acceptSignature()
{
    QFile file(signaturePath());
    const QByteArray signature = file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    file.close();
    const QString complaint =
        signatureComplaint(m_downloadPath, m_download.package, signature, m_publicKeys);
    if (!complaint.isEmpty()) {
        rejectPackage(complaint);
        return false;
    }
    (void)FileUtils::erase(signaturePath()); // in a folder of our own, where it does no harm
    return true;
}

void SoftwareUpdateClient::rejectPackage(const QString& reason)
{
    SOFTWAREUPDATE_LOG(Log::eError, "zk::SoftwareUpdateClient::downloadFinished",
                       "the signature of ", m_downloadPath, " is refused: ", reason);
    abortDownload();
    showInstallationFailed();
}

} // namespace zk

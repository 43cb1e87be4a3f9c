#include "client/SoftwareUpdateClient.h"

#include "client/StoredSettings.h"
#include "client/SystemProxy.h"
#include "install/SignatureCheck.h"
#include "support/Connect.h"
#include "support/DialogFlags.h"
#include "support/Log.h"
#include "ui/SoftwareUpdateAvailableDialog.h"
#include "ui/SoftwareUpdateDialog.h"

#include <QProgressDialog>
#include <QTimer>

#include <utility>

namespace zk {

using SoftwareUpdate::EState;
using SoftwareUpdate::SoftwareUpdateSettings;

QSettings::Format SoftwareUpdateClient::sSoftUpQSettingsFormat = QSettings::NativeFormat;
QSettings::Scope SoftwareUpdateClient::sSoftUpQSettingsScope = QSettings::UserScope;
QPointer<SoftwareUpdateClient> SoftwareUpdateClient::s_Instance;

namespace {

// For calls by name with types that no other header registers.
bool registerTypes()
{
    qRegisterMetaType<Qt::WindowFlags>("Qt::WindowFlags");
    qRegisterMetaType<QNetworkProxy>("QNetworkProxy");
    qRegisterMetaType<QNetworkReply*>("QNetworkReply*");
    qRegisterMetaType<QNetworkReply::NetworkError>("QNetworkReply::NetworkError");
    return true;
}

[[maybe_unused]] const bool registered = registerTypes();

AppSettings* usableStore(AppSettings* settings)
{
    if (settings) {
        return settings;
    }
    SOFTWAREUPDATE_LOG(Log::eError, "zk::SoftwareUpdateClient::SoftwareUpdateClient",
                       "no settings store was given: settings will not be kept");
    static ForgetfulSettings forgetful;
    return &forgetful;
}

void hideAndRelease(QDialog* dialog)
{
    if (dialog) {
        dialog->hide();
        dialog->deleteLater();
    }
}

} // namespace

void SoftwareUpdateClient::init(const QString& productName, VersionNumber version,
                                const QString& serverUrl, AppSettings* settings)
{
    if (s_Instance) {
        return;
    }
    qRegisterMetaType<EState>("zk::SoftwareUpdate::EState");
    s_Instance =
        new SoftwareUpdateClient(productName, std::move(version), serverUrl, settings, nullptr);
}

SoftwareUpdateClient* SoftwareUpdateClient::instance()
{
    return s_Instance;
}

void SoftwareUpdateClient::deleteInstance()
{
    delete s_Instance;
}

SoftwareUpdateClient::SoftwareUpdateClient(const QString& productName, VersionNumber version,
                                           const QString& serverUrl, AppSettings* settings,
                                           QWidget* parent)
    : m_parentWidget(parent)
    , m_scheduleTimer(new QTimer(this))
    , m_windowFlags(dialogFlags(true))
    , m_downloader(new FileDownloader(this))
    , m_settings(usableStore(settings))
{
    static const QStringList platforms{QStringLiteral("Win32"), QStringLiteral("Win64")};
    static const QStringList packageSuffixes{QStringLiteral("exe"), QStringLiteral("zip")};
    static const QStringList installableSuffixes{QStringLiteral("exe")};
    SoftwareUpdateSettings current;
    getCurrentSettings(&current);
    current.productName = productName;
    current.version = std::move(version);
    current.platforms = platforms;
    current.packageSuffixes = packageSuffixes;
    current.installableSuffixes = installableSuffixes;
    current.serverUrl = serverUrl;
    setCurrentSettings(&current);

    zk::connect(m_scheduleTimer, SIGNAL(timeout()), this, SLOT(queryLastUpdate()),
                Qt::AutoConnection);
    startSchedule(current.automaticCheck);
    m_downloader->setProxy(networkProxy(serverUrl));

    m_downloader->setCompletionCallback(
        [this](const FileDownloader::Result& result) { downloadCompleted(result); });
    // Queued: a message box in the middle of the network's own signals would let the client, and
    // with it the network, be deleted under them.
    zk::connect(m_downloader, SIGNAL(finished(QString)), this, SLOT(downloadFinished()),
                Qt::QueuedConnection);
    connect(m_downloader, &FileDownloader::progress, this, &SoftwareUpdateClient::downloadProgress);
    connect(m_downloader, &FileDownloader::error, this, &SoftwareUpdateClient::failDownloadSoon);
}

SoftwareUpdateClient::~SoftwareUpdateClient()
{
    if (m_download.state != Download::eNone) {
        // Nobody else knows of it. What has been dispatched is no download any more.
        delete m_downloader; // it may still be writing the file
        eraseDownload();
    }
}

EState SoftwareUpdateClient::state() const
{
    return m_state;
}

void SoftwareUpdateClient::setState(EState state)
{
    emit stateChanged(m_state, state);
    m_state = state;
}

void SoftwareUpdateClient::setParent(QWidget* parent)
{
    m_parentWidget = parent;
}

void SoftwareUpdateClient::setWindowFlags(Qt::WindowFlags flags)
{
    m_windowFlags = flags;
}

void SoftwareUpdateClient::setSystemProxy()
{
    m_useCustomProxy = false;
}

void SoftwareUpdateClient::setNetworkProxy(const QNetworkProxy& proxy)
{
    m_customProxy = proxy;
    m_useCustomProxy = true;
}

QNetworkProxy SoftwareUpdateClient::networkProxy(const QString& url)
{
    return m_useCustomProxy ? m_customProxy : systemProxy(url);
}

void SoftwareUpdateClient::abortUpdate()
{
    m_scheduleTimer->stop();
    for (QDialog* dialog : std::initializer_list<QDialog*>{
             m_settingsDialog, m_updateAvailableDialog, m_progressDialog}) {
        if (dialog) {
            dialog->deleteLater();
        }
    }
    // A dialog released before a nested event loop lives until that ends: it must not be reused.
    m_settingsDialog.clear();
    m_updateAvailableDialog.clear();
    m_progressDialog.clear();
}

void SoftwareUpdateClient::deleteUpdateDialog()
{
    SoftwareUpdateDialog* const dialog = m_settingsDialog;
    if (dialog && m_updateAvailableDialog && m_updateAvailableDialog->parentWidget() == dialog) {
        // It would go down with its parent while what it downloads runs on unseen.
        const bool wasVisible = m_updateAvailableDialog->isVisible();
        m_updateAvailableDialog->setParent(m_parentWidget, m_updateAvailableDialog->windowFlags());
        m_updateAvailableDialog->setVisible(wasVisible);
    }
    m_settingsDialog.clear();
    hideAndRelease(dialog);
}

void SoftwareUpdateClient::deleteUpdateAvailableDialog()
{
    SoftwareUpdateAvailableDialog* const dialog = m_updateAvailableDialog;
    m_updateAvailableDialog.clear();
    hideAndRelease(dialog);
}

void SoftwareUpdateClient::deleteProgressDialog()
{
    QProgressDialog* const dialog = m_progressDialog;
    m_progressDialog.clear();
    if (dialog) {
        // It has a timer that would show it again, with a Cancel button that works.
        dialog->reset();
    }
    hideAndRelease(dialog);
}

void SoftwareUpdateClient::openSettingsDialogFromUpdateAvailableDialog()
{
    queryForUpdate(dialogFlags(false), true);
}

} // namespace zk

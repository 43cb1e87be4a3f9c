#include "client/SoftwareUpdateClient.h"

#include "client/SoftwareUpdateClientPrivate.h"

#include "catalogue/PackageSelection.h"
#include "support/DialogFlags.h"
#include "support/Log.h"
#include "support/SystemProxy.h"
#include "trust/Minisign.h"
#include "ui/SoftwareUpdateAvailableDialog.h"

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
    qRegisterMetaType<QWidget*>("QWidget*");
    qRegisterMetaType<QNetworkProxy>("QNetworkProxy");
    qRegisterMetaType<QNetworkReply*>("QNetworkReply*");
    qRegisterMetaType<QNetworkReply::NetworkError>("QNetworkReply::NetworkError");
    return true;
}

[[maybe_unused]] const bool registered = registerTypes();

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

SoftwareUpdateClientPrivate::SoftwareUpdateClientPrivate(SoftwareUpdateClient* client,
                                                         AppSettings* settings, QWidget* parent)
    : q(client)
    , store(settings)
    , schedule(client)
    , windows(parent)
    , downloader(new FileDownloader(client))
{
}

SoftwareUpdateClient::SoftwareUpdateClient(const QString& productName, VersionNumber version,
                                           const QString& serverUrl, AppSettings* settings,
                                           QWidget* parent)
    : d(std::make_unique<SoftwareUpdateClientPrivate>(this, settings, parent))
{
    static const QStringList platforms{QStringLiteral("Win32"), QStringLiteral("Win64")};
    static const QStringList packageSuffixes{QStringLiteral("exe"), QStringLiteral("zip")};
    static const QStringList installableSuffixes{QStringLiteral("exe")};
    SoftwareUpdateSettings current = getSettings();
    current.productName = productName;
    current.version = std::move(version);
    current.platforms = platforms;
    current.packageSuffixes = packageSuffixes;
    current.installableSuffixes = installableSuffixes;
    current.serverUrl = serverUrl;
    setCurrentSettings(&current);
    d->schedule.run(current.automaticCheck);
    d->downloader->setProxy(networkProxy(serverUrl));
}

// The rooms go first: they use the timers and the downloader, which are children of the client.
SoftwareUpdateClient::~SoftwareUpdateClient() = default;

EState SoftwareUpdateClient::state() const
{
    return d->state;
}

// False if a slot has started another check or deleted the client: the caller must not go on.
bool SoftwareUpdateClient::setState(EState state)
{
    const Epoch::Mark check = d->checks.mark();
    emit stateChanged(d->state, state);
    if (!check.isCurrent()) {
        return false;
    }
    d->state = state;
    return true;
}

void SoftwareUpdateClient::setPackagePublicKeys(const QStringList& keys)
{
    d->publicKeys = keys;
    for (const QString& key : keys) {
        if (!trust::parsePublicKey(key.toStdString())) {
            SOFTWAREUPDATE_LOG(Log::eError, "zk::SoftwareUpdateClient::setPackagePublicKeys",
                               "this is not a public key, nothing is accepted for it: ", key);
        }
    }
}

void SoftwareUpdateClient::setOptions(const UpdateOptions& options)
{
    d->options = options;
    if (options.usesCache()) {
        d->tidying = DownloadCache(d->store.read().productName).tidyInBackground();
    }
}

void SoftwareUpdateClient::setParent(QWidget* parent)
{
    d->windows.setParent(parent);
}

void SoftwareUpdateClient::setWindowFlags(Qt::WindowFlags flags)
{
    d->windows.setFlags(flags);
}

void SoftwareUpdateClient::setSystemProxy()
{
    d->proxy.reset();
}

void SoftwareUpdateClient::setNetworkProxy(const QNetworkProxy& proxy)
{
    d->proxy = std::make_unique<QNetworkProxy>(proxy);
}

QNetworkProxy SoftwareUpdateClient::networkProxy(const QString& url)
{
    return d->proxy ? *d->proxy : systemProxy(url.trimmed());
}

SoftwareUpdateSettings SoftwareUpdateClient::getSettings() const
{
    SoftwareUpdateSettings settings;
    getCurrentSettings(&settings);
    return settings;
}

void SoftwareUpdateClient::getCurrentSettings(SoftwareUpdateSettings* settings) const
{
    *settings = d->store.read();
}

void SoftwareUpdateClient::setCurrentSettings(const SoftwareUpdateSettings* settings)
{
    d->store.write(*settings);
}

QString SoftwareUpdateClient::transformReleaseStatus(bool beta) const
{
    return PackageSelection::wantedStatus(beta);
}

void SoftwareUpdateClient::setVersionNumber(const VersionNumber& version)
{
    SoftwareUpdateSettings settings = getSettings();
    settings.version = version;
    setCurrentSettings(&settings);
}

void SoftwareUpdateClient::setCurrentCameraVersions(
    const SoftwareUpdate::TCurrentCameraVersions& cameraVersions)
{
    SoftwareUpdateSettings settings = getSettings();
    settings.cameraVersions = cameraVersions;
    setCurrentSettings(&settings);
}

void SoftwareUpdateClient::applyDialogSettings(const SoftwareUpdateWidgetSettings& dialogSettings)
{
    SoftwareUpdateSettings settings = getSettings();
    settings.automaticCheck = dialogSettings.checkForUpdates;
    settings.checkInterval = dialogSettings.checkInterval;
    settings.includeBeta = dialogSettings.includeBeta;
    settings.serverUrl = dialogSettings.updateServerUrl;
    setCurrentSettings(&settings);
    d->schedule.run(settings.automaticCheck);
}

void SoftwareUpdateClient::enableSoftwareUpdate()
{
    d->schedule.run(true);
}

void SoftwareUpdateClient::disableSoftwareUpdate()
{
    d->schedule.run(false);
}

void SoftwareUpdateClient::abortUpdate()
{
    d->schedule.run(false);
    if (d->request) {
        d->request->stopFollowing();
    }
    d->windows.releaseAll();
}

void SoftwareUpdateClient::deleteUpdateDialog()
{
    d->windows.closeSettings();
}

void SoftwareUpdateClient::deleteUpdateAvailableDialog()
{
    const bool isClosed = d->windows.list();
    d->windows.closeList();
    if (isClosed && d->download) {
        abortDownload(); // it would run on unseen, and start its installer
    }
}

void SoftwareUpdateClient::deleteProgressDialog()
{
    d->windows.closeProgress();
}

void SoftwareUpdateClient::openSettingsDialogFromUpdateAvailableDialog()
{
    queryForUpdate(dialogFlags(false), true);
}

} // namespace zk

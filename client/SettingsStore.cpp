#include "client/SettingsStore.h"

#include "support/Log.h"
#include "support/QtCompatibility.h"

#include <QLocale>

namespace zk {

using SoftwareUpdate::SoftwareUpdateSettings;

namespace {

constexpr AppSettings::EGroup group = AppSettings::SoftwareUpdateGroup;

// An INI line with commas that nobody quoted comes back as a list.
QString text(const QVariant& value)
{
    const int type = value.userType();
    if (type == QMetaType::QStringList || type == QMetaType::QVariantList) {
        return value.toStringList().join(QLatin1Char(','));
    }
    return value.toString();
}

bool flag(const QVariant& value, bool fallback)
{
    const QString stored = text(value);
    return stored.isEmpty() ? fallback : QVariant(stored).toBool();
}

QStringList list(const QVariant& value)
{
    return text(value).split(QLatin1Char(','), Qt::SkipEmptyParts);
}

SoftwareUpdate::TCurrentCameraVersions cameras(const QVariant& value)
{
    SoftwareUpdate::TCurrentCameraVersions result;
    const QStringList items = list(value);
    for (const QString& item : items) {
        const QString version = item.section(QLatin1Char(':'), 1, 1);
        result.append(
            {item.section(QLatin1Char(':'), 0, 0), VersionNumber(version.toStdWString())});
    }
    return result;
}

QString text(const VersionNumber& version)
{
    return QString::fromStdWString(version.toString());
}

QString text(const SoftwareUpdate::TCurrentCameraVersions& cameras)
{
    QStringList items;
    for (const auto& camera : cameras) {
        items << camera.first + QLatin1Char(':') + text(camera.second);
    }
    return items.join(QLatin1Char(','));
}

/** A store that holds nothing and forgets what it is given. */
class ForgetfulSettings final : public AppSettings
{
public:
    QVariant value(EGroup /*group*/, EKey /*key*/) override { return QVariant(); }
    void set(const QVariant& /*value*/, EGroup /*group*/, EKey /*key*/,
             bool /*writeThrough*/) override
    {
    }
};

std::unique_ptr<AppSettings> substituteFor(const AppSettings* settings)
{
    if (settings) {
        return nullptr;
    }
    SOFTWAREUPDATE_LOG(Log::eError, "zk::SoftwareUpdateClient::SoftwareUpdateClient",
                       "no settings store was given: settings will not be kept");
    return std::make_unique<ForgetfulSettings>();
}

} // namespace

SettingsStore::SettingsStore(AppSettings* settings)
    : m_forgetful(substituteFor(settings))
    , m_settings(settings ? *settings : *m_forgetful)
{
}

SettingsStore::~SettingsStore() = default;

SoftwareUpdateSettings SettingsStore::read() const
{
    const auto read = [this](AppSettings::EKey key) { return m_settings.value(group, key); };
    SoftwareUpdateSettings settings;
    settings.automaticCheck = flag(read(AppSettings::UpdateAutomaticCheck), true);
    settings.includeBeta = flag(read(AppSettings::UpdateIncludeBeta), false);
    settings.checkInterval = read(AppSettings::UpdateCheckInterval).toInt();
    settings.serverUrl = text(read(AppSettings::UpdateServerUrl));
    const QVariant version = read(AppSettings::UpdateProductVersion);
    settings.version =
        VersionNumber(QtCompatibility::isNull(version) ? L"0" : text(version).toStdWString());
    settings.productName = text(read(AppSettings::UpdateProductName));
    settings.lastCheck = read(AppSettings::UpdateLastCheck).toDateTime();
    settings.platforms = list(read(AppSettings::UpdatePlatforms));
    settings.packageSuffixes = list(read(AppSettings::UpdatePackageSuffixes));
    settings.installableSuffixes = list(read(AppSettings::UpdateInstallableSuffixes));
    settings.cameraVersions = cameras(read(AppSettings::UpdateCameraVersions));
    return settings;
}

void SettingsStore::write(const SoftwareUpdateSettings& settings)
{
    const auto write = [this](const QVariant& value, AppSettings::EKey key) {
        m_settings.set(value, group, key, false);
    };
    const auto writeList = [&write](const QStringList& items, AppSettings::EKey key) {
        write(items.join(QLatin1Char(',')), key);
    };
    write(settings.automaticCheck, AppSettings::UpdateAutomaticCheck);
    write(settings.includeBeta, AppSettings::UpdateIncludeBeta);
    write(settings.checkInterval, AppSettings::UpdateCheckInterval);
    if (!settings.serverUrl.isEmpty()) {
        write(settings.serverUrl, AppSettings::UpdateServerUrl);
    }
    if (settings.version != VersionNumber()) {
        write(text(settings.version), AppSettings::UpdateProductVersion);
    }
    if (!settings.productName.isNull()) {
        write(settings.productName, AppSettings::UpdateProductName);
    }
    if (!settings.lastCheck.isNull()) {
        write(settings.lastCheck, AppSettings::UpdateLastCheck);
    }
    writeList(settings.platforms, AppSettings::UpdatePlatforms);
    writeList(settings.packageSuffixes, AppSettings::UpdatePackageSuffixes);
    writeList(settings.installableSuffixes, AppSettings::UpdateInstallableSuffixes);
    if (!settings.cameraVersions.isEmpty()) {
        write(text(settings.cameraVersions), AppSettings::UpdateCameraVersions);
    }
}

void SettingsStore::writeLastCheck(const QDateTime& lastCheck)
{
    // Read at this moment: the host may have stored something from a slot.
    SoftwareUpdateSettings settings = read();
    settings.lastCheck = lastCheck;
    write(settings);
}

SoftwareUpdateWidgetSettings toWidgetSettings(const SoftwareUpdateSettings& settings)
{
    SoftwareUpdateWidgetSettings shown;
    shown.checkForUpdates = settings.automaticCheck;
    shown.includeBeta = settings.includeBeta;
    shown.checkInterval = settings.checkInterval;
    shown.updateServerUrl = settings.serverUrl;
    const QString version = QString::fromStdWString(settings.version.toShortVersion());
    // Null, not empty: an unknown version is not shown at all.
    shown.currentVersion = version.isEmpty() ? QString() : version;
    shown.lastCheck = longText(settings.lastCheck);
    return shown;
}

QString longText(const QDateTime& time)
{
    return QLocale::system().toString(time, QLocale::LongFormat);
}

QUrl requestUrl(const QString& address)
{
    return QUrl(address.trimmed());
}

} // namespace zk

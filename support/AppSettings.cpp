#include "support/AppSettings.h"

namespace zk {

namespace {

// Readable names, so that a person can find and mend an entry in the registry or an INI file.
QString entryName(AppSettings::EGroup group, AppSettings::EKey key)
{
    struct Name
    {
        AppSettings::EKey key;
        QLatin1String text;
    };
    static const Name names[] = {
        {AppSettings::UpdateProductName, QLatin1String("UpdateProductName")},
        {AppSettings::UpdateProductVersion, QLatin1String("UpdateProductVersion")},
        {AppSettings::UpdateServerUrl, QLatin1String("UpdateServerUrl")},
        {AppSettings::UpdateAutomaticCheck, QLatin1String("UpdateAutomaticCheck")},
        {AppSettings::UpdateIncludeBeta, QLatin1String("UpdateIncludeBeta")},
        {AppSettings::UpdateCheckInterval, QLatin1String("UpdateCheckInterval")},
        {AppSettings::UpdateLastCheck, QLatin1String("UpdateLastCheck")},
        {AppSettings::UpdatePlatforms, QLatin1String("UpdatePlatforms")},
        {AppSettings::UpdatePackageSuffixes, QLatin1String("UpdatePackageSuffixes")},
        {AppSettings::UpdateInstallableSuffixes, QLatin1String("UpdateInstallableSuffixes")},
        {AppSettings::UpdateCameraVersions, QLatin1String("UpdateCameraVersions")},
    };
    const QString folder = group == AppSettings::SoftwareUpdateGroup
                               ? QStringLiteral("SoftwareUpdateGroup/")
                               : QStringLiteral("Group%1/").arg(int(group));
    for (const Name& name : names) {
        if (name.key == key) {
            return folder + name.text;
        }
    }
    return folder + QStringLiteral("Key%1").arg(int(key));
}

} // namespace

AppSettings::AppSettings() = default;

AppSettings::AppSettings(QSettings::Format format, QSettings::Scope scope,
                         const QString& organisation, const QString& application)
    : m_settings(std::make_unique<QSettings>(format, scope, organisation, application))
{
    m_settings->setIniCodec("UTF-8");
}

AppSettings::AppSettings(const QString& iniPath)
    : m_settings(std::make_unique<QSettings>(iniPath, QSettings::IniFormat))
{
    m_settings->setIniCodec("UTF-8");
}

AppSettings::~AppSettings() = default;

QVariant AppSettings::value(EGroup group, EKey key)
{
    return m_settings ? m_settings->value(entryName(group, key)) : QVariant();
}

void AppSettings::set(const QVariant& value, EGroup group, EKey key, bool writeThrough)
{
    if (!m_settings) {
        return;
    }
    m_settings->setValue(entryName(group, key), value);
    if (writeThrough) {
        m_settings->sync();
    }
}

} // namespace zk

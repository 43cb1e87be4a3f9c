#include "support/AppSettings.h"

#include "support/Log.h"
#include "support/QtCompatibility.h"

#include <QFileInfo>
#include <QTemporaryFile>

namespace zk {

namespace {

// Readable names, so that an administrator can find and correct an entry in the registry or an INI
// file.
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

// QSettings misses a disk that fills up shortly before the end, and then replaces a complete file
// by a truncated one. Values that it cannot write at all it keeps, even for objects created later,
// and writes them at a time when nobody checks the disk.
bool canBeRewritten(const QString& path)
{
    const QFileInfo file(path);
    if (!file.isFile()) {
        return true; // nothing can be lost
    }
    QTemporaryFile trial(path + QStringLiteral(".XXXXXX"));
    if (!file.isWritable() || !trial.open()) {
        return false;
    }
    constexpr int oneMoreEntry = 64 * 1024;
    const QByteArray bytes(int(qMin<qint64>(file.size(), 16LL * 1024 * 1024)) + oneMoreEntry, ' ');
    return trial.write(bytes) == bytes.size() && trial.flush();
}

} // namespace

AppSettings::AppSettings() = default;

AppSettings::AppSettings(QSettings::Format format, QSettings::Scope scope,
                         const QString& organisation, const QString& application)
    : m_settings(std::make_unique<QSettings>(format, scope, organisation, application))
{
    QtCompatibility::useUtf8(*m_settings);
}

AppSettings::AppSettings(const QString& iniPath)
    : m_settings(std::make_unique<QSettings>(iniPath, QSettings::IniFormat))
{
    QtCompatibility::useUtf8(*m_settings);
}

AppSettings::~AppSettings() = default;

QVariant AppSettings::value(EGroup group, EKey key)
{
    const QString entry = entryName(group, key);
    const auto unstored = m_unstored.constFind(entry);
    if (unstored != m_unstored.constEnd()) {
        return *unstored;
    }
    return m_settings ? m_settings->value(entry) : QVariant();
}

void AppSettings::set(const QVariant& value, EGroup group, EKey key, bool writeThrough)
{
    if (!m_settings) {
        return;
    }
    const QString entry = entryName(group, key);
    const QVariant known = AppSettings::value(group, key);
    // Most values are written back as they were.
    const bool isNew = known.userType() != value.userType() || known != value;
    if (isNew) {
        m_unstored.insert(entry, value);
    }
    if (!m_unstored.isEmpty() && canBeRewritten(m_settings->fileName())) {
        for (auto it = m_unstored.cbegin(); it != m_unstored.cend(); ++it) {
            m_settings->setValue(it.key(), it.value());
        }
        m_unstored.clear();
    } else if (isNew) {
        SOFTWAREUPDATE_LOG(Log::eError, "zk::AppSettings::set", entry, " is not stored, ",
                           m_settings->fileName(), " cannot be written");
    }
    if (writeThrough) {
        m_settings->sync();
    }
}

} // namespace zk

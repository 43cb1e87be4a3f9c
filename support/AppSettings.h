#pragma once

#include "support/Export.h"

#include <QHash>
#include <QSettings>
#include <QString>
#include <QVariant>

#include <memory>

namespace zk {

/**
 * The host's settings store, addressed by a group and a key.
 *
 * The store is a QSettings that the host chooses: native (the registry on Windows) or an INI file.
 * Keys are readable there, e.g. "SoftwareUpdateGroup/UpdateServerUrl". A host that keeps its
 * settings elsewhere derives from this class and overrides value() and set().
 *
 * The host owns the object and keeps it alive longer than the client that uses it. Use it from the
 * GUI thread.
 */
class SOFTWAREUPDATE_EXPORT AppSettings
{
public:
    /** Groups of the store; the numbers are part of the interface. */
    enum EGroup {
        SoftwareUpdateGroup = 9,
    };

    /** Keys of SoftwareUpdateGroup; the numbers are part of the interface. */
    enum EKey {
        UpdateProductName = 39,
        UpdateProductVersion = 40,
        UpdateServerUrl = 43,
        UpdateAutomaticCheck = 44,
        UpdateIncludeBeta = 45,
        UpdateCheckInterval = 46,
        UpdateLastCheck = 47,
        UpdatePlatforms = 48,
        UpdatePackageSuffixes = 49,
        UpdateInstallableSuffixes = 50,
        UpdateCameraVersions = 51,
    };

    /** A store where QSettings keeps those of @p application, e.g. in the registry. */
    AppSettings(QSettings::Format format, QSettings::Scope scope, const QString& organisation,
                const QString& application);

    /** A store in the INI file at @p iniPath (UTF-8), created on the first write. */
    explicit AppSettings(const QString& iniPath);

    AppSettings(const AppSettings&) = delete;
    AppSettings& operator=(const AppSettings&) = delete;
    virtual ~AppSettings();

    /** The stored value, an invalid QVariant when nothing was ever stored. */
    virtual QVariant value(EGroup group, EKey key);

    /**
     * Stores @p value. With @p writeThrough it is on disk when the call returns, else when
     * QSettings next synchronises. Where the file cannot be written, or the disk has no room for
     * it, the log says so and the file stays as it is: this object keeps the value as long as it
     * lives, and stores it with the next one that can be.
     */
    virtual void set(const QVariant& value, EGroup group, EKey key, bool writeThrough);

protected:
    /** For stores that override both operations and need no QSettings. */
    AppSettings();

private:
    std::unique_ptr<QSettings> m_settings;
    QHash<QString, QVariant> m_unstored;
};

} // namespace zk

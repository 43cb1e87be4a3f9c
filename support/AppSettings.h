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
 * The host owns the object, which must outlive the client that uses it. Use it from the GUI thread.
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

    /** The store that QSettings uses for @p application, e.g. in the registry. */
    AppSettings(QSettings::Format format, QSettings::Scope scope, const QString& organisation,
                const QString& application);

    /** A store in the INI file at @p iniPath (UTF-8), created on the first write. */
    explicit AppSettings(const QString& iniPath);

    AppSettings(const AppSettings&) = delete;
    AppSettings& operator=(const AppSettings&) = delete;
    virtual ~AppSettings();

    /** The stored value; an invalid QVariant if nothing was ever stored. */
    virtual QVariant value(EGroup group, EKey key);

    /**
     * Stores @p value. With @p writeThrough it is on disk when the call returns, otherwise when
     * QSettings next synchronises. If the file cannot be written or the disk is full, this is
     * logged and the file stays unchanged: the object keeps the value and writes it together with
     * the next one that can be written.
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

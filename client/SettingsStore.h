#pragma once

#include "support/AppSettings.h"
#include "types/SoftwareUpdateTypes.h"
#include "types/SoftwareUpdateWidgetSettings.h"

#include <QUrl>

#include <memory>

namespace zk {

/**
 * Reads and writes the client's settings in the host's store, which is the only copy of them.
 *
 * GUI thread only.
 */
class SettingsStore final
{
public:
    /** @p settings must outlive the store; null keeps nothing, and says so in the log. */
    explicit SettingsStore(AppSettings* settings);
    SettingsStore(const SettingsStore&) = delete;
    SettingsStore& operator=(const SettingsStore&) = delete;
    ~SettingsStore();

    /** What is stored; what is missing there, or is nonsense, reads as the default. */
    [[nodiscard]] SoftwareUpdate::SoftwareUpdateSettings read() const;

    /**
     * Stores @p settings. An empty server URL, a null date, an empty camera list and the like leave
     * what is stored as it is.
     */
    void write(const SoftwareUpdate::SoftwareUpdateSettings& settings);

    /** Stores @p lastCheck and writes everything else back as it is stored now. */
    void writeLastCheck(const QDateTime& lastCheck);

private:
    const std::unique_ptr<AppSettings> m_forgetful;
    AppSettings& m_settings;
};

/** What the settings widget shows of @p settings. */
SoftwareUpdateWidgetSettings
toWidgetSettings(const SoftwareUpdate::SoftwareUpdateSettings& settings);

/** The address to request for a stored or typed one: blanks around it are not part of it. */
QUrl requestUrl(const QString& address);

/** @p time in the system locale's long format. */
QString longText(const QDateTime& time);

} // namespace zk

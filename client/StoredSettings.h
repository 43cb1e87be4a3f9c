#pragma once

#include "support/AppSettings.h"
#include "types/SoftwareUpdateTypes.h"
#include "types/SoftwareUpdateWidgetSettings.h"

namespace zk {

/** The settings that @p store holds; what it lacks, or holds as nonsense, reads as the default. */
SoftwareUpdate::SoftwareUpdateSettings readSettings(AppSettings& store);

/**
 * Writes @p settings to @p store. An empty server URL, a null date, an empty camera list and the
 * like leave what is stored as it is.
 */
void writeSettings(AppSettings& store, const SoftwareUpdate::SoftwareUpdateSettings& settings);

/** What the settings widget shows of @p settings. */
SoftwareUpdateWidgetSettings
toWidgetSettings(const SoftwareUpdate::SoftwareUpdateSettings& settings);

/** @p time in the system locale's long format. */
QString longText(const QDateTime& time);

/** A store that holds nothing and forgets what it is given. */
class ForgetfulSettings : public AppSettings
{
public:
    QVariant value(EGroup group, EKey key) override;
    void set(const QVariant& value, EGroup group, EKey key, bool writeThrough) override;
};

} // namespace zk

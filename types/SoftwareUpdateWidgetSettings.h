#pragma once

#include "types/SoftwareUpdateTypes.h"

#include <QMetaType>
#include <QString>

namespace zk {

/** What the settings widget shows and edits. */
struct SoftwareUpdateWidgetSettings
{
    /** Automatic checking is on. */
    bool checkForUpdates = false;
    /** Beta versions are offered too. */
    bool includeBeta = false;
    /** A SoftwareUpdate::ECheckInterval, or any other stored number. */
    int checkInterval = SoftwareUpdate::eAtStart;
    /** The update server's address as typed. */
    QString updateServerUrl;
    /** The installed version for display; a null text hides its caption. */
    QString currentVersion;
    /** The time of the last check for display; an empty text hides its caption. */
    QString lastCheck;
};

} // namespace zk

Q_DECLARE_METATYPE(zk::SoftwareUpdateWidgetSettings)

#pragma once

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
    /** 0 "At application start", 1 "Daily", 2 "Weekly", 3 "Monthly". */
    int checkInterval = 0;
    /** The update server's address as typed. */
    QString updateServerUrl;
    /** The installed version for display; a null text hides its caption. */
    QString currentVersion;
    /** The time of the last check for display; an empty text hides its caption. */
    QString lastCheck;
};

} // namespace zk

Q_DECLARE_METATYPE(zk::SoftwareUpdateWidgetSettings)

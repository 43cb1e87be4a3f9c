#pragma once

#include "support/VersionNumber.h"

#include <QDateTime>
#include <QList>
#include <QMetaType>
#include <QPair>
#include <QString>
#include <QStringList>

namespace zk::SoftwareUpdate {

/** What the client is doing, or how its last check ended. The numbers are part of the interface. */
enum EState {
    eIdle = 0,              ///< nothing has been checked yet
    eChecking = 1,          ///< a request to the update server is outstanding
    eUpdateAvailable = 2,   ///< newer packages were found and are being shown
    eUpToDate = 3,          ///< the update document has nothing newer
    eTimeout = 4,           ///< the server did not answer in time
    eNoUpdateAvailable = 5, ///< the update document yielded no packages at all
    eError = 6,             ///< the request failed
};

/** Values of the check interval: when the client checks by itself. Stored as numbers. */
enum ECheckInterval {
    eAtStart = 0, ///< at each application start, and only then
    eDaily = 1,   ///< a full day after the last check
    eWeekly = 2,  ///< seven days after it
    eMonthly = 3, ///< a calendar month after it
};

/** How the evaluation of a server's answer ended. */
enum EUpdateParsingResult {
    eParsingDone = 0, ///< there were packages; the candidates among them (if any) are known
    eNoPackages = 1,  ///< there were none
};

/** Rows of the update-available table, which are indices into the client's package list. */
using SoftUpIndexList = QList<int>;

/** Camera models of the host, without ':' and ',', with their installed firmware versions. */
using TCurrentCameraVersions = QList<QPair<QString, VersionNumber>>;

/** The persisted settings of the client; a value, read from and written to the host's store. */
struct SoftwareUpdateSettings
{
    /** Name of the host product, matched against the names of "Application" packages. */
    QString productName;
    /** Installed version of the host product. */
    VersionNumber version;
    /** Always 0, kept for the layout of the record; neither stored nor read. */
    int reserved = 0;
    /** URL of the update document. */
    QString serverUrl;
    /** Checks by schedule and by SoftwareUpdateClient::checkForUpdate() are allowed. */
    bool automaticCheck = true;
    /** Beta releases are offered too. */
    bool includeBeta = false;
    /** An ECheckInterval; the store may hold any other number. */
    int checkInterval = eAtStart;
    /** Local time of the last request; null if there was none. */
    QDateTime lastCheck;
    /** Platform names; a package must have one of them, e.g. "Win64". */
    QStringList platforms;
    /** Package formats that the host accepts, e.g. "exe". */
    QStringList packageSuffixes;
    /** Package formats that may be installed from the update-available dialog. */
    QStringList installableSuffixes;
    /**
     * Camera models with their installed firmware versions. A model must not contain ':' or ',':
     * they separate the items in the store.
     */
    TCurrentCameraVersions cameraVersions;
};

} // namespace zk::SoftwareUpdate

Q_DECLARE_METATYPE(zk::SoftwareUpdate::EState)
Q_DECLARE_METATYPE(zk::SoftwareUpdate::SoftwareUpdateSettings)

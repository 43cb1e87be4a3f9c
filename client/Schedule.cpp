// What is stored, and when the next check is due.

#include "client/CheckSchedule.h"
#include "client/SoftwareUpdateClient.h"
#include "client/StoredSettings.h"

#include "catalogue/PackageSelection.h"
#include "support/Log.h"
#include "ui/SoftwareUpdateDialog.h"

#include <QTimer>

namespace zk {

using SoftwareUpdate::SoftwareUpdateSettings;

void SoftwareUpdateClient::getCurrentSettings(SoftwareUpdateSettings* settings) const
{
    *settings = readSettings(*m_settings);
}

void SoftwareUpdateClient::setCurrentSettings(const SoftwareUpdateSettings* settings)
{
    writeSettings(*m_settings, *settings);
}

SoftwareUpdateSettings SoftwareUpdateClient::getSettings() const
{
    SoftwareUpdateSettings settings;
    getCurrentSettings(&settings);
    return settings;
}

QString SoftwareUpdateClient::transformReleaseStatus(bool beta) const
{
    return PackageSelection::wantedStatus(beta);
}

void SoftwareUpdateClient::setVersionNumber(const VersionNumber& version)
{
    SoftwareUpdateSettings settings = getSettings();
    settings.version = version;
    setCurrentSettings(&settings);
}

void SoftwareUpdateClient::setCurrentCameraVersions(
    const SoftwareUpdate::TCurrentCameraVersions& cameraVersions)
{
    SoftwareUpdateSettings settings = getSettings();
    settings.cameraVersions = cameraVersions;
    setCurrentSettings(&settings);
}

void SoftwareUpdateClient::applyDialogSettings(const SoftwareUpdateWidgetSettings& dialogSettings)
{
    SoftwareUpdateSettings settings = getSettings();
    settings.automaticCheck = dialogSettings.checkForUpdates;
    settings.checkInterval = dialogSettings.checkInterval;
    settings.includeBeta = dialogSettings.includeBeta;
    settings.serverUrl = dialogSettings.updateServerUrl;
    setCurrentSettings(&settings);
    startSchedule(settings.automaticCheck);
}

void SoftwareUpdateClient::enableSoftwareUpdate()
{
    startSchedule(true);
}

void SoftwareUpdateClient::disableSoftwareUpdate()
{
    startSchedule(false);
}

void SoftwareUpdateClient::startSchedule(bool run)
{
    constexpr int oneHour = 3600000;
    if (!run) {
        m_scheduleTimer->stop();
        return;
    }
    m_scheduleTimer->setInterval(oneHour);
    m_scheduleTimer->start();
}

void SoftwareUpdateClient::doInitialCheck(int msDelay)
{
    const SoftwareUpdateSettings settings = getSettings();
    if (!settings.automaticCheck) {
        return;
    }
    if (settings.checkInterval == eAtStart) {
        checkForUpdate(msDelay);
    } else {
        queryLastUpdate(msDelay);
    }
}

void SoftwareUpdateClient::queryLastUpdate(int delay)
{
    const SoftwareUpdateSettings settings = getSettings();
    if (m_settingsDialog ||
        !isCheckDue(settings.checkInterval, settings.lastCheck, QDateTime::currentDateTime())) {
        return;
    }
    checkForUpdate(delay);
    static const char* const names[] = {"", "daily", "weekly", "monthly"};
    SOFTWAREUPDATE_LOG(Log::eInfo, "zk::SoftwareUpdateClient::queryLastUpdate",
                       names[settings.checkInterval], " update fired");
}

} // namespace zk

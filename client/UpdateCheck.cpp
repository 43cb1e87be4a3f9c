// One check, from the schedule or the user to its end state.

#include "client/ServerRedirect.h"
#include "client/SoftwareUpdateClientPrivate.h"

#include "catalogue/PackageSelection.h"
#include "install/DownloadManager.h"
#include "support/Connect.h"
#include "support/LinkRule.h"
#include "support/Log.h"
#include "ui/SoftwareUpdateDialog.h"
#include "ui/SoftwareUpdateWidget.h"

#include <QTimer>

namespace zk {

using SoftwareUpdate::EUpdateParsingResult;
using SoftwareUpdate::SoftwareUpdateSettings;

namespace {

constexpr char evaluateName[] = "zk::SoftwareUpdateClient::evaluateServerResponse";

} // namespace

void SoftwareUpdateClient::doInitialCheck(int msDelay)
{
    const SoftwareUpdateSettings settings = getSettings();
    if (!settings.automaticCheck) {
        return;
    }
    if (settings.checkInterval == SoftwareUpdate::eAtStart) {
        checkForUpdate(msDelay);
    } else {
        queryLastUpdate(msDelay);
    }
}

void SoftwareUpdateClient::queryLastUpdate(int delay)
{
    const SoftwareUpdateSettings settings = getSettings();
    if (d->windows.settings() ||
        !isCheckDue(settings.checkInterval, settings.lastCheck, QDateTime::currentDateTime())) {
        return;
    }
    checkForUpdate(delay);
    static const char* const names[] = {"", "daily", "weekly", "monthly"};
    SOFTWAREUPDATE_LOG(Log::eInfo, "zk::SoftwareUpdateClient::queryLastUpdate",
                       names[settings.checkInterval], " update fired");
}

void SoftwareUpdateClient::checkForUpdate()
{
    const SoftwareUpdateSettings settings = getSettings();
    SoftwareUpdateWidget* const panel = d->windows.panel();
    if (!panel && !settings.automaticCheck) {
        return;
    }
    const Epoch::Mark life = d->life.mark();
    performUpdateCheck(
        requestUrl(panel ? panel->getSettings().updateServerUrl : settings.serverUrl));
    if (life.isCurrent()) {
        // What is stored now: with the time of this check, and what the host stored from a slot.
        d->store.write(d->store.read());
    }
}

void SoftwareUpdateClient::checkForUpdate(int millisecondsDelay)
{
    if (!getSettings().automaticCheck) {
        return;
    }
    if (millisecondsDelay < 1) {
        doBackgroundCheck();
    } else {
        d->schedule.checkLater(millisecondsDelay);
    }
}

void SoftwareUpdateClient::doBackgroundCheck()
{
    // A user who is working in the settings dialog is not interrupted.
    if (!d->windows.settings()) {
        checkForUpdate();
    }
}

void SoftwareUpdateClient::queryForUpdate(Qt::WindowFlags flags, bool modal)
{
    if (!d->windows.parent()) {
        return;
    }
    if (!d->windows.settings()) {
        d->makeSettings(flags);
        d->windows.settings()->setModal(modal);
    }
    const QPointer<SoftwareUpdateDialog> dialog = d->windows.settings();
    const Epoch::Mark life = d->life.mark();
    d->showMessage(QString());
    if (!life.isCurrent() || !dialog || dialog != d->windows.settings()) {
        return;
    }
    dialog->updateWidget()->setSettings(toWidgetSettings(getSettings()));
    d->windows.runSettings(modal);
}

void SoftwareUpdateClientPrivate::makeSettings(Qt::WindowFlags flags)
{
    SoftwareUpdateDialog* const dialog = windows.makeSettings(flags);
    SoftwareUpdateWidget* const panel = dialog->updateWidget();
    // The widget's signal carries a URL, so this connection is never made: a check from the button
    // of the library's own dialog reaches hosts only. Kept as published, and without the file and
    // line that SIGNAL() would add to Qt's warning.
    zk::connect(panel, "2checkForUpdate()", q, "1checkForUpdate()", Qt::AutoConnection);
    zk::connect(panel, SIGNAL(applySettings(SoftwareUpdateWidgetSettings)), q,
                SLOT(applyDialogSettings(SoftwareUpdateWidgetSettings)), Qt::AutoConnection);
    zk::connect(panel, SIGNAL(forceUpdateAvailable()), q, SLOT(updateAvailable()),
                Qt::AutoConnection);
    zk::connect(dialog, SIGNAL(rejected()), q, SLOT(deleteUpdateDialog()), Qt::AutoConnection);
    zk::connect(dialog, SIGNAL(accepted()), q, SLOT(deleteUpdateDialog()), Qt::AutoConnection);
}

void SoftwareUpdateClient::performUpdateCheck(const QUrl& serverUrl)
{
    d->sendRequest(serverUrl, SoftwareUpdateClientPrivate::eFirst);
}

void SoftwareUpdateClientPrivate::sendRequest(const QUrl& url, Hop hop)
{
    const Epoch::Mark check = hop == eFirst ? checks.begin() : checks.mark();
    if (!q->setState(SoftwareUpdate::eChecking)) {
        return;
    }
    const QDateTime now = QDateTime::currentDateTime();
    const QString lastCheck = longText(now);
    emit q->messageChanged(QString());
    if (check.isCurrent()) {
        emit q->lastCheckTextChanged(lastCheck);
    }
    if (!check.isCurrent()) {
        return;
    }
    if (SoftwareUpdateWidget* const panel = windows.panel()) {
        panel->enableProgress();
        panel->setMessage(QString());
        SoftwareUpdateWidgetSettings shown = panel->getSettings();
        shown.lastCheck = lastCheck;
        panel->setSettings(shown);
    }
    // When the request is sent, not when it succeeds: a failing server is not asked again and
    // again.
    store.writeLastCheck(now);
    SOFTWAREUPDATE_LOG(Log::eInfo, "zk::SoftwareUpdateClient::performUpdateCheck", logText(url));
    makeRequest();
    const QNetworkProxy chosen = q->networkProxy(store.read().serverUrl);
    if (hop == eFirst) {
        request->get(url, chosen);
    } else {
        request->follow(url, chosen);
    }
}

/** Makes the request, unless one is outstanding: two checks end with the first answer. */
void SoftwareUpdateClientPrivate::makeRequest()
{
    if (request) {
        return;
    }
    if (!requestTimer) {
        requestTimer = new QTimer(q);
        // A coarse timer may fire three quarters of a second early.
        requestTimer->setTimerType(Qt::PreciseTimer);
    }
    request = std::make_unique<UpdateRequest>(*requestTimer);
    QObject::connect(request.get(), &UpdateRequest::redirected, q, [this](const QUrl& target) {
        SOFTWAREUPDATE_LOG(Log::eInfo, evaluateName, "redirect url ", logText(target));
        sendRequest(target, eNext);
    });
    QObject::connect(request.get(), &UpdateRequest::answered, q,
                     &SoftwareUpdateClient::evaluateServerResponse);
    QObject::connect(request.get(), &UpdateRequest::timedOut, q,
                     &SoftwareUpdateClient::requestTimeout);
}

void SoftwareUpdateClient::deleteNetworkmanager()
{
    if (d->request) {
        d->request->dropReplies();
    }
}

void SoftwareUpdateClient::evaluateServerResponse(QNetworkReply* reply)
{
    d->request.reset();
    if (!reply) {
        return;
    }
    // A reply of our own request has passed its redirect rules there and is none any more.
    const QUrl target = ServerRedirect::target(*reply);
    const QString refusal = ServerRedirect::refusal(reply->url(), target);
    if (!target.isEmpty() && refusal.isEmpty()) {
        SOFTWAREUPDATE_LOG(Log::eInfo, evaluateName, "redirect url ", logText(target));
        performUpdateCheck(target);
        return;
    }
    if (ServerRedirect::isRedirect(*reply) && target.isEmpty()) {
        SOFTWAREUPDATE_LOG(Log::eError, evaluateName,
                           "could not obtain redirect url from server response");
    }
    if (SoftwareUpdateWidget* const panel = d->windows.panel()) {
        panel->disbaleProgress();
    }
    if (reply->error() != QNetworkReply::NoError || !refusal.isEmpty()) {
        const QString errorText =
            refusal.isEmpty() ? withoutCredentials(reply->errorString(), reply->url()) : refusal;
        requestError(errorText);
        SOFTWAREUPDATE_LOG(Log::eInfo, evaluateName, "reply->errorString(): ", errorText);
        return;
    }
    if (parseServerResponse(reply) == SoftwareUpdate::eNoPackages) {
        return;
    }
    if (!d->packages.isEmpty()) {
        SOFTWAREUPDATE_LOG(Log::eInfo, evaluateName, "update available");
        updateAvailable();
    } else {
        SOFTWAREUPDATE_LOG(Log::eInfo, evaluateName, "product is up-to-date ");
        productUpToDate();
    }
}

EUpdateParsingResult SoftwareUpdateClient::parseServerResponse(QNetworkReply* reply)
{
    PackageInfoList all = DownloadManager::parseXML(reply);
    if (all.isEmpty()) {
        SOFTWAREUPDATE_LOG(Log::eError, "zk::SoftwareUpdateClient::parseServerResponse",
                           "no update available");
        d->packages.clear();
        d->closeEmptyList();
        if (setState(SoftwareUpdate::eNoUpdateAvailable)) {
            d->showMessage(tr("No update available!"));
        }
        return SoftwareUpdate::eNoPackages;
    }
    SoftwareUpdateSettings settings = getSettings();
    if (SoftwareUpdateWidget* const panel = d->windows.panel()) {
        settings.includeBeta = panel->getSettings().includeBeta;
    }
    d->packages = PackageSelection::findUpdates(all, settings);
    return SoftwareUpdate::eParsingDone;
}

void SoftwareUpdateClient::productUpToDate()
{
    SOFTWAREUPDATE_LOG(Log::eInfo, "zk::SoftwareUpdateClient::productUpToDate",
                       "product is up to date!");
    d->closeEmptyList();
    if (setState(SoftwareUpdate::eUpToDate)) {
        d->showMessage(tr("Congratulations! Your product is up-to-date!"));
    }
}

void SoftwareUpdateClient::requestTimeout()
{
    SOFTWAREUPDATE_LOG(Log::eError, "zk::SoftwareUpdateClient::requestTimeout",
                       "timeout occurred requesting update server!");
    if (SoftwareUpdateWidget* const panel = d->windows.panel()) {
        panel->disbaleProgress();
    }
    d->request.reset();
    if (setState(SoftwareUpdate::eTimeout)) {
        d->showMessage(tr("Timeout error! Update server unreachable!"));
    }
}

void SoftwareUpdateClient::requestError(const QString& errorText)
{
    // The text of the time-out, for both failures alike: hosts filter their logs by it.
    SOFTWAREUPDATE_LOG(Log::eError, "zk::SoftwareUpdateClient::requestError",
                       "timeout occurred requesting update server!");
    d->request.reset();
    if (setState(SoftwareUpdate::eError)) {
        d->showMessage(errorText);
    }
}

void SoftwareUpdateClientPrivate::showMessage(const QString& message) const
{
    if (SoftwareUpdateWidget* const panel = windows.panel()) {
        panel->setMessage(message);
    }
    emit q->messageChanged(message);
}

} // namespace zk

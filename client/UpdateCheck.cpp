// One request to the update server, and what becomes of its answer.

#include "client/SoftwareUpdateClient.h"
#include "client/StoredSettings.h"

#include "catalogue/PackageSelection.h"
#include "install/DownloadManager.h"
#include "install/LinkRule.h"
#include "support/Connect.h"
#include "support/Log.h"
#include "ui/SoftwareUpdateDialog.h"
#include "ui/SoftwareUpdateWidget.h"

#include <QCoreApplication>
#include <QNetworkRequest>
#include <QTimer>

namespace zk {

using SoftwareUpdate::EUpdateParsingResult;
using SoftwareUpdate::SoftwareUpdateSettings;

namespace {

constexpr int requestTimeoutMs = 15000;

// The parser refuses more than this; whatever unpacks to more is not waited for either.
constexpr qint64 maximumResponseSize = 64LL * 1024 * 1024;

void abortWhenTooLarge(QNetworkReply* reply)
{
    QObject::connect(reply, &QIODevice::readyRead, reply, [reply] {
        if (reply->bytesAvailable() > maximumResponseSize) {
            reply->abort();
        }
    });
}

bool isRedirect(int status)
{
    return status == 302 || status == 301 || status == 303 || status == 307;
}

} // namespace

void SoftwareUpdateClient::checkForUpdate()
{
    SoftwareUpdateSettings settings = getSettings();
    if (m_settingsDialog) {
        const QString typed = m_settingsDialog->updateWidget()->getSettings().updateServerUrl;
        performUpdateCheck(QUrl(typed));
    } else if (settings.automaticCheck) {
        performUpdateCheck(QUrl(settings.serverUrl));
    } else {
        return;
    }
    // All as it was, but for the time of this check: put back, an old one would make the schedule
    // fire every hour.
    settings.lastCheck = getSettings().lastCheck;
    setCurrentSettings(&settings);
}

void SoftwareUpdateClient::checkForUpdate(int millisecondsDelay)
{
    if (!getSettings().automaticCheck) {
        return;
    }
    if (millisecondsDelay < 1) {
        doBackgroundCheck();
        return;
    }
    // One timer a call, kept as long as the client: every delayed check that was asked for happens.
    auto* const timer = new QTimer(this);
    zk::connect(timer, SIGNAL(timeout()), this, SLOT(doBackgroundCheck()), Qt::AutoConnection);
    timer->setSingleShot(true);
    timer->start(millisecondsDelay);
}

void SoftwareUpdateClient::doBackgroundCheck()
{
    // A user who is working in the settings dialog is not interrupted.
    if (!m_settingsDialog) {
        checkForUpdate();
    }
}

void SoftwareUpdateClient::queryForUpdate(Qt::WindowFlags flags, bool modal)
{
    if (!m_parentWidget) {
        return;
    }
    if (!m_settingsDialog) {
        createSettingsDialog(flags);
        m_settingsDialog->setModal(modal);
    }
    const QPointer<SoftwareUpdateDialog> dialog = m_settingsDialog;
    showMessage(QString());
    if (!dialog) {
        return;
    }
    dialog->updateWidget()->setSettings(toWidgetSettings(getSettings()));
    if (modal && !m_isSettingsDialogExecuting) {
        const QPointer<SoftwareUpdateClient> self(this);
        m_isSettingsDialogExecuting = true;
        dialog->exec();
        if (self) {
            m_isSettingsDialogExecuting = false;
        }
    } else {
        dialog->show();
    }
    if (dialog) {
        dialog->activateWindow();
    }
}

void SoftwareUpdateClient::createSettingsDialog(Qt::WindowFlags flags)
{
    m_settingsDialog = new SoftwareUpdateDialog(m_parentWidget, flags ? flags : m_windowFlags);
    SoftwareUpdateWidget* const widget = m_settingsDialog->updateWidget();
    const auto connectText = [this](const QObject* sender, const char* signal, const char* slot) {
        zk::connect(sender, signal, this, slot, Qt::AutoConnection);
    };
    // The widget's signal carries a URL, so this one is never made: a check from the button of the
    // library's own dialog reaches hosts only. Kept as published.
    connectText(widget, "2checkForUpdate()", "1checkForUpdate()");
    connectText(widget, "2applySettings( const SoftwareUpdateWidgetSettings & )",
                "1applyDialogSettings( const SoftwareUpdateWidgetSettings & )");
    connectText(widget, "2forceUpdateAvailable()", "1updateAvailable()");
    connectText(m_settingsDialog, "2rejected()", "1deleteUpdateDialog()");
    connectText(m_settingsDialog, "2accepted()", "1deleteUpdateDialog()");
}

void SoftwareUpdateClient::performUpdateCheck(const QUrl& serverUrl)
{
    setState(SoftwareUpdate::eChecking);
    SoftwareUpdateSettings settings = getSettings();
    settings.lastCheck = QDateTime::currentDateTime();
    const QString lastCheck = longText(settings.lastCheck);
    emit messageChanged(QString());
    emit lastCheckTextChanged(lastCheck);
    if (m_settingsDialog) {
        SoftwareUpdateWidget* const widget = m_settingsDialog->updateWidget();
        widget->enableProgress();
        widget->setMessage(QString());
        SoftwareUpdateWidgetSettings shown = widget->getSettings();
        shown.lastCheck = lastCheck;
        widget->setSettings(shown);
    }
    // When the request is sent, not when it succeeds: a failing server is not asked again and
    // again.
    setCurrentSettings(&settings);
    SOFTWAREUPDATE_LOG(Log::eInfo, "zk::SoftwareUpdateClient::performUpdateCheck",
                       logText(serverUrl));
    sendRequest(serverUrl);
    startRequestTimer();
}

void SoftwareUpdateClient::sendRequest(const QUrl& serverUrl)
{
    QNetworkRequest request(serverUrl);
    request.setHeader(QNetworkRequest::ContentTypeHeader, QStringLiteral("text/xml"));
    if (!m_networkManager) {
        m_networkManager = new QNetworkAccessManager;
        connect(m_networkManager.data(), &QNetworkAccessManager::finished, this,
                &SoftwareUpdateClient::evaluateServerResponse);
        // It outlives a client that is deleted meanwhile, but not its answer.
        connect(m_networkManager.data(), &QNetworkAccessManager::finished, m_networkManager.data(),
                &QObject::deleteLater);
    }
    m_networkManager->setProxy(networkProxy(getSettings().serverUrl));
    abortWhenTooLarge(m_networkManager->get(request));
}

void SoftwareUpdateClient::startRequestTimer()
{
    if (!m_requestTimer) {
        m_requestTimer = new QTimer(this);
        // The usual kind may fire three quarters of a second early.
        m_requestTimer->setTimerType(Qt::PreciseTimer);
        connect(m_requestTimer, &QTimer::timeout, this, &SoftwareUpdateClient::requestTimeout);
    }
    m_requestTimer->setSingleShot(true);
    m_requestTimer->start(requestTimeoutMs);
}

void SoftwareUpdateClient::deleteNetworkmanager()
{
    if (m_networkManager) {
        // Released alone, it would still deliver the answers of its other replies.
        m_networkManager->disconnect(this);
        m_networkManager->deleteLater();
        m_networkManager.clear();
    }
}

void SoftwareUpdateClient::evaluateServerResponse(QNetworkReply* reply)
{
    if (m_requestTimer) {
        m_requestTimer->stop();
    }
    deleteNetworkmanager();
    if (!reply || followRedirect(*reply)) {
        return;
    }
    if (m_settingsDialog) {
        m_settingsDialog->updateWidget()->disbaleProgress();
    }
    constexpr char function[] = "zk::SoftwareUpdateClient::evaluateServerResponse";
    if (reply->error() != QNetworkReply::NoError) {
        const QString errorText = reply->errorString();
        requestError(errorText);
        SOFTWAREUPDATE_LOG(Log::eInfo, function, "reply->errorString(): ", errorText);
        return;
    }
    if (parseServerResponse(reply) == SoftwareUpdate::eNoPackages) {
        return;
    }
    if (!m_packages.isEmpty()) {
        SOFTWAREUPDATE_LOG(Log::eInfo, function, "update available");
        updateAvailable();
    } else {
        SOFTWAREUPDATE_LOG(Log::eInfo, function, "product is up-to-date ");
        productUpToDate();
    }
}

bool SoftwareUpdateClient::followRedirect(const QNetworkReply& reply)
{
    if (!isRedirect(reply.attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt())) {
        return false;
    }
    constexpr char function[] = "zk::SoftwareUpdateClient::evaluateServerResponse";
    // Set even when the answer names no target, then to an empty address.
    const QUrl target = reply.attribute(QNetworkRequest::RedirectionTargetAttribute).toUrl();
    if (target.isEmpty()) {
        SOFTWAREUPDATE_LOG(Log::eError, function,
                           "could not obtain redirect url from server response");
        return false;
    }
    SOFTWAREUPDATE_LOG(Log::eInfo, function, "redirect url ", logText(target));
    if (target.scheme() == QLatin1String("file") && !isOpenableLink(target)) {
        // Windows would offer the user's credentials to the host that the server names; elsewhere
        // Qt refuses it with this text.
        requestError(QCoreApplication::translate("QNetworkAccessFileBackend",
                                                 "Request for opening non-local file %1")
                         .arg(target.toString()));
        return true;
    }
    performUpdateCheck(target);
    return true;
}

EUpdateParsingResult SoftwareUpdateClient::parseServerResponse(QNetworkReply* reply)
{
    PackageInfoList all = DownloadManager::parseXML(reply);
    if (all.isEmpty()) {
        SOFTWAREUPDATE_LOG(Log::eError, "zk::SoftwareUpdateClient::parseServerResponse",
                           "no update available");
        m_packages.clear();
        closeOutdatedUpdateAvailableDialog();
        setState(SoftwareUpdate::eNoUpdateAvailable);
        showMessage(tr("No update available!"));
        return SoftwareUpdate::eNoPackages;
    }
    m_packages = selectCandidates(all);
    return SoftwareUpdate::eParsingDone;
}

PackageInfoList SoftwareUpdateClient::selectCandidates(PackageInfoList& all)
{
    SoftwareUpdateSettings settings = getSettings();
    if (m_settingsDialog) {
        settings.includeBeta = m_settingsDialog->updateWidget()->getSettings().includeBeta;
    }
    return PackageSelection::findUpdates(all, settings);
}

void SoftwareUpdateClient::productUpToDate()
{
    SOFTWAREUPDATE_LOG(Log::eInfo, "zk::SoftwareUpdateClient::productUpToDate",
                       "product is up to date!");
    closeOutdatedUpdateAvailableDialog();
    setState(SoftwareUpdate::eUpToDate);
    showMessage(tr("Congratulations! Your product is up-to-date!"));
    deleteNetworkmanager();
}

void SoftwareUpdateClient::requestTimeout()
{
    SOFTWAREUPDATE_LOG(Log::eError, "zk::SoftwareUpdateClient::requestTimeout",
                       "timeout occurred requesting update server!");
    if (m_settingsDialog) {
        m_settingsDialog->updateWidget()->disbaleProgress();
    }
    deleteNetworkmanager();
    setState(SoftwareUpdate::eTimeout);
    showMessage(tr("Timeout error! Update server unreachable!"));
}

void SoftwareUpdateClient::requestError(const QString& errorText)
{
    // The text of the time-out, for both failures alike: hosts filter their logs by it.
    SOFTWAREUPDATE_LOG(Log::eError, "zk::SoftwareUpdateClient::requestError",
                       "timeout occurred requesting update server!");
    deleteNetworkmanager();
    setState(SoftwareUpdate::eError);
    showMessage(errorText);
}

void SoftwareUpdateClient::showMessage(const QString& message)
{
    if (m_settingsDialog) {
        m_settingsDialog->updateWidget()->setMessage(message);
    }
    emit messageChanged(message);
}

} // namespace zk

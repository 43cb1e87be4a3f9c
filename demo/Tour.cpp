#include "demo/Tour.h"

#include "demo/Cameras.h"
#include "demo/Console.h"
#include "demo/DemoContent.h"
#include "demo/MainWindow.h"
#include "demo/PackageDialog.h"
#include "demo/PreferencesDialog.h"
#include "demo/UpdateServer.h"
#include "demo/VisibleWindow.h"

#include "client/SoftwareUpdateClient.h"
#include "ui/SoftwareUpdateAvailableDialog.h"
#include "ui/SoftwareUpdateDialog.h"

#include <QAction>
#include <QComboBox>
#include <QDesktopServices>
#include <QDialogButtonBox>
#include <QMessageBox>
#include <QProgressBar>
#include <QProgressDialog>
#include <QPushButton>
#include <QTableWidget>

namespace demo {

namespace {

using zk::SoftwareUpdateAvailableDialog;
using zk::SoftwareUpdateDialog;
using zk::VersionNumber;

template <typename Window>
QWidget* find()
{
    return visibleWindow<Window>();
}

template <typename Window>
bool isGone()
{
    return visibleWindow<Window>() == nullptr;
}

bool always()
{
    return true;
}

// Without a display the screen has 800 x 600 pixels, half of that at 200 %, and dialogs must fit on
// it.
void enlargePackageDialog()
{
    QWidget* const dialog = visibleWindow<SoftwareUpdateAvailableDialog>();
    dialog->resize(dialog->size().expandedTo(QSize(620, 440)));
}

zk::SoftwareUpdate::TCurrentCameraVersions firmwareVersions(bool isCurrent)
{
    zk::SoftwareUpdate::TCurrentCameraVersions versions;
    const QList<CameraModel> models = cameraModels();
    for (const CameraModel& model : models) {
        const QString& version = isCurrent ? model.newestFirmware : model.installedFirmware;
        versions.append({model.name, VersionNumber(version.toStdWString())});
    }
    return versions;
}

bool isPanelBusy()
{
    const auto* const dialog = visibleWindow<PreferencesDialog>();
    return dialog && dialog->findChild<QProgressBar*>()->isVisible();
}

} // namespace

Tour::Tour(zk::SoftwareUpdateClient& client, UpdateServer& server, MainWindow& window,
           const QString& pictures, const QString& prefix)
    : m_client(client)
    , m_server(server)
    , m_window(window)
    , m_player(pictures, prefix)
{
    QDesktopServices::setUrlHandler(QStringLiteral("http"), this, "openPage");
    addCheckScene();
    addSelectionScene();
    addLanguageScene();
    addPreferencesScene();
    addMessagesScene();
    addSettingsScene();
    addInstallationScene();
    addFailureScene();
    addRestartScene();
    addBetaScene();
    addAboutScene();
}

Tour::~Tour()
{
    QDesktopServices::unsetUrlHandler(QStringLiteral("http"));
}

void Tour::start()
{
    // Settings as after the host's installation.
    zk::SoftwareUpdateWidgetSettings settings;
    settings.checkForUpdates = true;
    m_client.applyDialogSettings(settings);
    m_player.start();
}

void Tour::openPage(const QUrl& url)
{
    print(QStringLiteral("tour: the web browser would now open %1").arg(url.toString()));
}

void Tour::addCheckScene()
{
    addMenuStep(QStringLiteral("Help > Check for updates"), "checkAction");
    m_player.add(QStringLiteral("the dialog lists what is newer"), hasRows, enlargePackageDialog);
    m_player.addPicture(QStringLiteral("update-available"), find<SoftwareUpdateAvailableDialog>);
    m_player.addPicture(QStringLiteral("main-window"), find<MainWindow>);
}

void Tour::addSelectionScene()
{
    addSelection(QStringLiteral("select one package that can be installed"),
                 {QStringLiteral("exe")});
    m_player.addPicture(QStringLiteral("update-available-comment"),
                        find<SoftwareUpdateAvailableDialog>);
    addClick(QStringLiteral("Release Notes"), find<SoftwareUpdateAvailableDialog>,
             "releaseNotesPushButton");
    addSelection(QStringLiteral("select firmware"), {QStringLiteral("bin")});
    m_player.addPicture(QStringLiteral("update-available-firmware"),
                        find<SoftwareUpdateAvailableDialog>);
    addSelection(QStringLiteral("select two packages"),
                 {QStringLiteral("exe"), QStringLiteral("zip")});
    m_player.addPicture(QStringLiteral("update-available-two"),
                        find<SoftwareUpdateAvailableDialog>);
    addClick(QStringLiteral("Download Package"), find<SoftwareUpdateAvailableDialog>,
             "downloadPushButton");
}

void Tour::addLanguageScene()
{
    addClick(QStringLiteral("show all languages"), find<SoftwareUpdateAvailableDialog>,
             "showAllLanguagesCheckBox");
    m_player.addPicture(QStringLiteral("update-available-all-languages"),
                        find<SoftwareUpdateAvailableDialog>);
    addClick(QStringLiteral("hide foreign languages"), find<SoftwareUpdateAvailableDialog>,
             "showAllLanguagesCheckBox");
}

void Tour::addPreferencesScene()
{
    addClick(QStringLiteral("Update Settings..."), find<SoftwareUpdateAvailableDialog>,
             "updateSettingsPushButton");
    m_player.addPicture(QStringLiteral("preferences"), find<PreferencesDialog>);
    m_player.add(QStringLiteral("close the list of packages"), hasRows,
                 [] { visibleWindow<SoftwareUpdateAvailableDialog>()->reject(); });
    m_player.add(QStringLiteral("the server becomes slow"), isGone<SoftwareUpdateAvailableDialog>,
                 [this] {
                     UpdateServer::Answer document = m_server.answer(UpdateServer::documentPath());
                     document.pieceSize = document.body.size() / 10 + 1;
                     document.pause = 100;
                     m_server.setAnswer(UpdateServer::documentPath(), document);
                 });
    addClick(QStringLiteral("Check Now"), find<PreferencesDialog>, "updatePushButton");
    m_player.add(QStringLiteral("the panel shows that a check runs"), isPanelBusy, [] {});
    m_player.addPicture(QStringLiteral("preferences-checking"), find<PreferencesDialog>);
    m_player.add(QStringLiteral("the packages are there; close their list"), hasRows,
                 [] { visibleWindow<SoftwareUpdateAvailableDialog>()->reject(); });
}

void Tour::addMessagesScene()
{
    using namespace zk::SoftwareUpdate;
    m_player.add(QStringLiteral("everything is up to date"), isGone<SoftwareUpdateAvailableDialog>,
                 [this] {
                     m_client.setVersionNumber(VersionNumber(L"9.9"));
                     m_client.setCurrentCameraVersions(firmwareVersions(true));
                 });
    addClick(QStringLiteral("Check Now"), find<PreferencesDialog>, "updatePushButton");
    addStateStep(QStringLiteral("the product is up to date"), eUpToDate);
    m_player.addPicture(QStringLiteral("preferences-up-to-date"), find<PreferencesDialog>);
    m_player.add(QStringLiteral("the server has lost its document"), always, [this] {
        m_server.setAnswer(UpdateServer::documentPath(), UpdateServer::failure(404));
    });
    addClick(QStringLiteral("Check Now"), find<PreferencesDialog>, "updatePushButton");
    addStateStep(QStringLiteral("the check failed"), eError);
    m_player.addPicture(QStringLiteral("preferences-error"), find<PreferencesDialog>);
    m_player.add(QStringLiteral("the server has published nothing"), always,
                 [this] { m_server.setDocument(emptyDocument()); });
    addClick(QStringLiteral("Check Now"), find<PreferencesDialog>, "updatePushButton");
    addStateStep(QStringLiteral("there is no update"), eNoUpdateAvailable);
    m_player.addPicture(QStringLiteral("preferences-no-update"), find<PreferencesDialog>);
    m_player.add(QStringLiteral("all is as it was; close the preferences"), always, [this] {
        publishUpdates(m_server);
        m_client.setVersionNumber(VersionNumber(L"4.2.0"));
        m_client.setCurrentCameraVersions(firmwareVersions(false));
        visibleWindow<PreferencesDialog>()->reject();
    });
}

void Tour::addSettingsScene()
{
    addMenuStep(QStringLiteral("Help > Update settings..."), "settingsAction");
    m_player.addPicture(QStringLiteral("settings"), find<SoftwareUpdateDialog>);
    m_player.add(QStringLiteral("check weekly"), always, [] {
        auto* const dialog = visibleWindow<SoftwareUpdateDialog>();
        dialog->findChild<QComboBox*>()->setCurrentIndex(2);
        dialog->findChild<QDialogButtonBox*>()->button(QDialogButtonBox::Ok)->click();
    });
    m_player.add(
        QStringLiteral("the choice is stored"),
        [this] {
            return isGone<SoftwareUpdateDialog>() && m_client.getSettings().checkInterval == 2;
        },
        [] {});
}

void Tour::addInstallationScene()
{
    addMenuStep(QStringLiteral("Help > Check for updates"), "checkAction");
    addSelection(QStringLiteral("select the program for installation"), {QStringLiteral("exe")});
    addClick(QStringLiteral("Install Package"), find<SoftwareUpdateAvailableDialog>,
             "installPushButton");
    m_player.addPicture(QStringLiteral("install-question"), find<QMessageBox>);
    addAnswer(QStringLiteral("Cancel Install"), false);
    addInstallClicks();
    m_player.add(
        QStringLiteral("the download has begun"),
        [] {
            const auto* const progress = visibleWindow<QProgressDialog>();
            return progress && progress->maximum() > 0 &&
                   progress->value() > progress->maximum() / 3;
        },
        [] {});
    m_player.addPicture(QStringLiteral("download-progress"), find<QProgressDialog>);
    m_player.add(
        QStringLiteral("cancel the download"),
        [] { return visibleWindow<QProgressDialog>() != nullptr; },
        [] { visibleWindow<QProgressDialog>()->findChild<QPushButton*>()->click(); });
    m_player.add(
        QStringLiteral("nothing is installed, the list is still open"),
        [] { return isGone<QProgressDialog>() && isGone<QMessageBox>() && hasRows(); }, [] {});
}

void Tour::addFailureScene()
{
    // Both platforms: the document determines which one comes first in the table.
    m_player.add(QStringLiteral("the file disappears from the server"), always, [this] {
        for (const char* const platform : {"win32", "win64"}) {
            m_server.setAnswer(packagePath(QStringLiteral("4.3.0"), QLatin1String(platform),
                                           QStringLiteral("exe")),
                               UpdateServer::failure(404));
        }
    });
    addInstallClicks();
    m_player.addPicture(QStringLiteral("download-error"), find<QMessageBox>);
    addAnswer(QStringLiteral("OK"), true);
    m_player.add(
        QStringLiteral("the file is back"),
        [] { return isGone<QMessageBox>() && isGone<QProgressDialog>() && hasRows(); },
        [this] { publishUpdates(m_server); });
    addInstallClicks();
    m_player.add(
        QStringLiteral("downloaded and handed to its installer"),
        [] { return isGone<SoftwareUpdateAvailableDialog>() && isGone<QProgressDialog>(); }, [] {});
}

void Tour::addRestartScene()
{
    addMenuStep(QStringLiteral("Help > Check for updates"), "checkAction");
    addSelection(QStringLiteral("select the archive for installation"), {QStringLiteral("zip")});
    addInstallClicks();
    m_player.add(
        QStringLiteral("downloaded, and being unpacked"),
        [] { return isGone<QProgressDialog>() && !isGone<QMessageBox>(); }, [] {});
    m_player.addPicture(QStringLiteral("restart-question"), find<QMessageBox>);
    addAnswer(QStringLiteral("Restart later"), false);
}

void Tour::addBetaScene()
{
    m_player.add(QStringLiteral("include beta versions"), always, [this] {
        zk::SoftwareUpdateWidgetSettings settings;
        settings.checkForUpdates = true;
        settings.includeBeta = true;
        settings.updateServerUrl = m_client.getSettings().serverUrl;
        m_client.applyDialogSettings(settings);
    });
    addMenuStep(QStringLiteral("Help > Check for updates"), "checkAction");
    addSelection(QStringLiteral("select the beta version"), {QStringLiteral("exe")});
    m_player.addPicture(QStringLiteral("update-available-beta"),
                        find<SoftwareUpdateAvailableDialog>);
    m_player.add(QStringLiteral("close the list of packages"), hasRows,
                 [] { visibleWindow<SoftwareUpdateAvailableDialog>()->reject(); });
}

void Tour::addAboutScene()
{
    addMenuStep(QStringLiteral("Help > About"), "aboutAction");
    m_player.addPicture(QStringLiteral("about"), find<QMessageBox>);
    addAnswer(QStringLiteral("OK"), true);
    m_player.add(QStringLiteral("nothing but the window is left"), isGone<QMessageBox>, [] {});
}

void Tour::addMenuStep(const QString& text, const char* action)
{
    m_player.add(text, always, [this, action] {
        m_window.findChild<QAction*>(QLatin1String(action))->trigger();
    });
}

void Tour::addClick(const QString& text, const TourPlayer::Finder& window, const char* button)
{
    const auto wanted = [window, button]() -> QAbstractButton* {
        QWidget* const found = window();
        return found ? found->findChild<QAbstractButton*>(QLatin1String(button)) : nullptr;
    };
    m_player.add(
        text,
        [wanted] {
            const QAbstractButton* const found = wanted();
            return found && found->isVisible() && found->isEnabled();
        },
        [wanted] { wanted()->click(); });
}

void Tour::addAnswer(const QString& text, bool isAccepted)
{
    m_player.add(
        text, [] { return visibleWindow<QMessageBox>() != nullptr; },
        [isAccepted] { answerButton(*visibleWindow<QMessageBox>(), isAccepted)->click(); });
}

void Tour::addStateStep(const QString& text, zk::SoftwareUpdate::EState state)
{
    m_player.add(
        text, [this, state] { return m_client.state() == state; }, [] {});
}

void Tour::addSelection(const QString& text, const QStringList& types)
{
    m_player.add(text, hasRows, [types] {
        enlargePackageDialog();
        selectRows(packageTable(), types);
    });
}

void Tour::addInstallClicks()
{
    addClick(QStringLiteral("Install Package"), find<SoftwareUpdateAvailableDialog>,
             "installPushButton");
    addAnswer(QStringLiteral("Proceed"), true);
}

} // namespace demo

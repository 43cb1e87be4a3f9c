// The dialog that shows what is newer, and what the user does there short of installing.

#include "client/SoftwareUpdateClient.h"

#include "install/LinkRule.h"
#include "install/PackagePresentation.h"
#include "support/Connect.h"
#include "support/Log.h"
#include "ui/SoftwareUpdateAvailableDialog.h"
#include "ui/SoftwareUpdateDialog.h"

#include <QDesktopServices>
#include <QLocale>

namespace zk {

using SoftwareUpdate::SoftUpIndexList;

void SoftwareUpdateClient::updateAvailable()
{
    if (!m_parentWidget) {
        return;
    }
    setState(SoftwareUpdate::eUpdateAvailable);
    if (!m_updateAvailableDialog) {
        createUpdateAvailableDialog();
    }
    QList<QStringList> rows;
    for (const PackageInfo& package : qAsConst(m_packages)) {
        rows << PackagePresentation::row(package);
    }
    m_updateAvailableDialog->setTableEntries(rows);
    m_updateAvailableDialog->setTableHeaders(
        {tr("Name"), tr("File Size"), tr("File Type"), tr("Languages"), tr("Platforms")});
    // Nothing is selected in a table just filled; firmware in foreign languages starts hidden.
    manageUpdateAvailableDialog(SoftUpIndexList());
    m_updateAvailableDialog->show();
    m_updateAvailableDialog->activateWindow();
}

void SoftwareUpdateClient::createUpdateAvailableDialog()
{
    QWidget* const parent = m_settingsDialog ? m_settingsDialog.data() : m_parentWidget.data();
    m_updateAvailableDialog = new SoftwareUpdateAvailableDialog(parent, m_windowFlags);
    const auto connectText = [this](const char* signal, const char* slot) {
        zk::connect(m_updateAvailableDialog, signal, this, slot, Qt::AutoConnection);
    };
    connectText("2downloadUrls( const SoftwareUpdate::SoftUpIndexList & )",
                "1downloadUrls( const SoftwareUpdate::SoftUpIndexList & )");
    connectText("2downloadReleaseNotes( const SoftwareUpdate::SoftUpIndexList & )",
                "1downloadReleaseNotes( const SoftwareUpdate::SoftUpIndexList & )");
    connectText("2installPackage( const int )", "1installPackage( const int )");
    connectText("2accepted()", "1deleteUpdateAvailableDialog()");
    connectText("2rejected()", "1deleteUpdateAvailableDialog()");
    connectText("2currentItemsChangedSig( const SoftwareUpdate::SoftUpIndexList & )",
                "1manageUpdateAvailableDialog( const SoftwareUpdate::SoftUpIndexList & )");
    connectText("2showAllLanguages( const bool )", "1showHideForeignLanguageItems( const bool )");
    connectText("2openUpdateSettings()", "2openUpdateSettings()");
    connect(m_updateAvailableDialog.data(), &SoftwareUpdateAvailableDialog::linkActivated, this,
            &SoftwareUpdateClient::openLink);
}

void SoftwareUpdateClient::closeOutdatedUpdateAvailableDialog()
{
    // While a download from it runs, its progress and its Cancel button hang on the dialog.
    if (m_download.state != Download::eRunning) {
        deleteUpdateAvailableDialog();
    }
}

void SoftwareUpdateClient::manageUpdateAvailableDialog(SoftUpIndexList indexList)
{
    if (!m_updateAvailableDialog) {
        return;
    }
    m_updateAvailableDialog->setInstallButtonState(false);
    m_updateAvailableDialog->setRealeaseNotesButtonState(false);
    showHideForeignLanguageItems(m_updateAvailableDialog->getShowAllLanguagesState());
    if (indexList.size() == 1) {
        describePackage(m_packages.value(indexList.first()));
    } else {
        m_updateAvailableDialog->setCommentText(QString());
    }
    m_updateAvailableDialog->setDownloadButtonState(!indexList.isEmpty());
}

void SoftwareUpdateClient::describePackage(const PackageInfo& package)
{
    m_updateAvailableDialog->setInstallButtonState(
        getSettings().installableSuffixes.contains(package.suffix));
    m_updateAvailableDialog->setRealeaseNotesButtonState(
        !package.releaseNotes.value(QStringLiteral("en")).isEmpty());
    m_updateAvailableDialog->setCommentText(PackagePresentation::comment(package));
}

// Slots take their lists by value, as they are published.
// NOLINTBEGIN(performance-unnecessary-value-param)
QList<int> SoftwareUpdateClient::determineForeignLanguageRows(PackageInfoList list)
{
    const QString hostLanguage = QLocale::system().name().section(QLatin1Char('_'), 0, 0);
    return PackagePresentation::foreignLanguageRows(list, hostLanguage);
}

void SoftwareUpdateClient::showHideForeignLanguageItems(bool showAll)
{
    if (m_updateAvailableDialog) {
        m_updateAvailableDialog->setHiddenEntries(
            showAll ? SoftUpIndexList() : determineForeignLanguageRows(m_packages));
    }
}

void SoftwareUpdateClient::downloadUrls(SoftUpIndexList itemIndexes)
{
    const PackageInfoList packages = m_packages;
    for (const int row : qAsConst(itemIndexes)) {
        if (row >= 0 && row < packages.size()) {
            openLink(packages.at(row).url);
        }
    }
}

void SoftwareUpdateClient::downloadReleaseNotes(SoftUpIndexList itemIndexes)
{
    const int row = itemIndexes.value(0, -1);
    if (row >= 0 && row < m_packages.size()) {
        openLink(m_packages.at(row).releaseNotes.value(QStringLiteral("en")));
    }
}
// NOLINTEND(performance-unnecessary-value-param)

void SoftwareUpdateClient::openLink(const QUrl& url) const
{
    // Servers write links to their pages relative to the document.
    const QUrl target = url.isRelative() ? QUrl(getSettings().serverUrl).resolved(url) : url;
    if (!url.isEmpty() && isOpenableLink(target)) {
        QDesktopServices::openUrl(target);
        return;
    }
    SOFTWAREUPDATE_LOG(Log::eError, "zk::SoftwareUpdateClient::openLink",
                       "link is not opened: ", logText(target));
}

} // namespace zk

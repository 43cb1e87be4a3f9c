// The list of what is newer, and what the user does there short of installing.

#include "client/SoftwareUpdateClientPrivate.h"

#include "install/PackagePresentation.h"
#include "support/Connect.h"
#include "support/LinkRule.h"
#include "support/Log.h"
#include "ui/SoftwareUpdateAvailableDialog.h"

#include <QDesktopServices>
#include <QLocale>

namespace zk {

using SoftwareUpdate::SoftUpIndexList;

void SoftwareUpdateClient::updateAvailable()
{
    if (!d->windows.parent()) {
        return;
    }
    if (!setState(SoftwareUpdate::eUpdateAvailable) || !d->windows.parent()) {
        return;
    }
    if (!d->windows.list()) {
        d->makeList();
    }
    d->fillList();
    d->windows.list()->show();
    d->windows.list()->activateWindow();
}

void SoftwareUpdateClientPrivate::makeList()
{
    SoftwareUpdateAvailableDialog* const list = windows.makeList();
    const auto connectText = [this, list](const char* signal, const char* slot) {
        zk::connect(list, signal, q, slot, Qt::AutoConnection);
    };
    connectText(SIGNAL(downloadUrls(SoftwareUpdate::SoftUpIndexList)),
                SLOT(downloadUrls(SoftwareUpdate::SoftUpIndexList)));
    connectText(SIGNAL(downloadReleaseNotes(SoftwareUpdate::SoftUpIndexList)),
                SLOT(downloadReleaseNotes(SoftwareUpdate::SoftUpIndexList)));
    connectText(SIGNAL(installPackage(int)), SLOT(installPackage(int)));
    connectText(SIGNAL(accepted()), SLOT(deleteUpdateAvailableDialog()));
    connectText(SIGNAL(rejected()), SLOT(deleteUpdateAvailableDialog()));
    connectText(SIGNAL(currentItemsChangedSig(SoftwareUpdate::SoftUpIndexList)),
                SLOT(manageUpdateAvailableDialog(SoftwareUpdate::SoftUpIndexList)));
    connectText(SIGNAL(showAllLanguages(bool)), SLOT(showHideForeignLanguageItems(bool)));
    connectText(SIGNAL(openUpdateSettings()), SIGNAL(openUpdateSettings()));
    QObject::connect(list, &SoftwareUpdateAvailableDialog::linkActivated, q,
                     [this](const QUrl& url) { openLink(url); });
}

void SoftwareUpdateClientPrivate::fillList()
{
    QList<QStringList> rows;
    for (const PackageInfo& package : qAsConst(packages)) {
        rows << PackagePresentation::row(package);
    }
    windows.list()->setTableEntries(rows);
    windows.list()->setTableHeaders(
        {SoftwareUpdateClient::tr("Name"), SoftwareUpdateClient::tr("File Size"),
         SoftwareUpdateClient::tr("File Type"), SoftwareUpdateClient::tr("Languages"),
         SoftwareUpdateClient::tr("Platforms")});
    // Nothing is selected in a table just filled; firmware in foreign languages starts hidden.
    q->manageUpdateAvailableDialog(SoftUpIndexList());
}

void SoftwareUpdateClientPrivate::closeEmptyList()
{
    if (!windows.list() || !packages.isEmpty()) {
        return;
    }
    if (download) {
        // The progress dialog is a child of the list. None of the rows is a package any more.
        q->manageUpdateAvailableDialog(SoftUpIndexList());
    } else {
        windows.closeList();
    }
}

void SoftwareUpdateClient::manageUpdateAvailableDialog(SoftUpIndexList indexList)
{
    SoftwareUpdateAvailableDialog* const list = d->windows.list();
    if (!list) {
        return;
    }
    const int count = d->packages.size();
    const bool isOutdated = std::any_of(indexList.cbegin(), indexList.cend(),
                                        [count](int row) { return row < 0 || row >= count; });
    list->setInstallButtonState(false);
    list->setRealeaseNotesButtonState(false);
    showHideForeignLanguageItems(list->getShowAllLanguagesState());
    if (indexList.size() == 1 && !isOutdated) {
        d->describe(d->packages.at(indexList.first()));
    } else {
        list->setCommentText(QString());
    }
    list->setDownloadButtonState(!indexList.isEmpty() && !isOutdated);
}

void SoftwareUpdateClientPrivate::describe(const PackageInfo& package) const
{
    SoftwareUpdateAvailableDialog* const list = windows.list();
    list->setInstallButtonState(store.read().installableSuffixes.contains(package.suffix));
    list->setRealeaseNotesButtonState(!package.releaseNotes.value(QStringLiteral("en")).isEmpty());
    list->setCommentText(PackagePresentation::comment(package));
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
    if (SoftwareUpdateAvailableDialog* const list = d->windows.list()) {
        list->setHiddenEntries(showAll ? SoftUpIndexList()
                                       : determineForeignLanguageRows(d->packages));
    }
}

void SoftwareUpdateClient::downloadUrls(SoftUpIndexList itemIndexes)
{
    const PackageInfoList packages = d->packages;
    const Epoch::Mark life = d->life.mark();
    for (const int row : qAsConst(itemIndexes)) {
        if (life.isCurrent() && row >= 0 && row < packages.size()) {
            d->openLink(packages.at(row).url);
        }
    }
}

void SoftwareUpdateClient::downloadReleaseNotes(SoftUpIndexList itemIndexes)
{
    const int row = itemIndexes.value(0, -1);
    if (row >= 0 && row < d->packages.size()) {
        d->openLink(d->packages.at(row).releaseNotes.value(QStringLiteral("en")));
    }
}
// NOLINTEND(performance-unnecessary-value-param)

QUrl SoftwareUpdateClientPrivate::resolved(const QUrl& url) const
{
    return url.isRelative() ? requestUrl(store.read().serverUrl).resolved(url) : url;
}

void SoftwareUpdateClientPrivate::openLink(const QUrl& url) const
{
    const QUrl target = resolved(url);
    if (!url.isEmpty() && isOpenableLink(target)) {
        QDesktopServices::openUrl(target);
        return;
    }
    SOFTWAREUPDATE_LOG(Log::eError, "zk::SoftwareUpdateClient::openLink",
                       "link is not opened: ", logText(target));
}

} // namespace zk

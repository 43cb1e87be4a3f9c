#pragma once

#include "catalogue/PackageInfo.h"
#include "client/UpdateOptions.h"
#include "support/Export.h"
#include "support/VersionNumber.h"
#include "types/SoftwareUpdateTypes.h"
#include "types/SoftwareUpdateWidgetSettings.h"

#include <QNetworkProxy>
#include <QNetworkReply>
#include <QObject>
#include <QPointer>
#include <QSettings>
#include <QUrl>

#include <memory>

class QWidget;

namespace zk {

class AppSettings;
struct SoftwareUpdateClientPrivate;

/**
 * The one object through which a host application looks for, shows and installs updates.
 *
 * The host calls init() once, names the parent of all dialogs with setParent(), connects to the
 * signals and calls doInitialCheck(). From then on checks run on the user's schedule, or when the
 * host calls checkForUpdate(). The host calls deleteInstance() before it ends.
 *
 * Everything happens in the thread that called init(), which must be the GUI thread. Nothing
 * throws; failures end in a state, a message, a message box or a log line. The client must not be
 * deleted from a slot connected to one of its own signals: connect that slot queued. A check may be
 * started from such a slot, and replaces the one that emitted; queued is simpler there too. The
 * client may be deleted while one of its dialogs is being executed.
 */
class SOFTWAREUPDATE_EXPORT SoftwareUpdateClient : public QObject
{
    Q_OBJECT

public:
    /**
     * Creates the client; does nothing if it exists.
     *
     * @p productName and @p version are what update documents are compared with; @p serverUrl is
     * requested exactly as given, without blanks around it. They replace what is stored.
     * @p settings belongs to the host and must outlive the client; null stores nothing.
     */
    static void init(const QString& productName, VersionNumber version, const QString& serverUrl,
                     AppSettings* settings);

    /** The client, null before init() and after deleteInstance(). */
    static SoftwareUpdateClient* instance();

    /** Deletes the client at once. Dialogs that are open stay: they belong to their parent widgets.
     */
    static void deleteInstance();

    ~SoftwareUpdateClient() override;

    /**
     * Takes only packages that are signed by one of @p keys from now on: public keys of minisign,
     * each as its line of base64 or as the text of a key file; several while an old key is being
     * replaced. Without keys, the initial state, signatures are neither fetched nor required.
     *
     * With keys, the signature at a package's URL with ".minisig" appended is fetched first. Its
     * trusted comment must name this file, and this release if it names any; the package is started
     * only if its bytes are the signed ones. Otherwise everything is erased, a message box says
     * that the installation has failed, and a level-3 log line why.
     */
    void setPackagePublicKeys(const QStringList& keys);

    /**
     * Switches on what goes beyond the ordinary; for downloads that begin later. A download that is
     * continued keeps its partial file in the user's cache folder, below the product's name, for a
     * week; calling this removes older ones.
     */
    void setOptions(const UpdateOptions& options);

    /**
     * Stops the hourly test and closes all dialogs. A request or download that runs goes on, but no
     * further redirect of the request is followed: one ends the check in eError.
     */
    void abortUpdate();

    /** @{ For the host's own use; the library reads neither. */
    static QSettings::Format sSoftUpQSettingsFormat;
    static QSettings::Scope sSoftUpQSettingsScope;
    /** @} */

    // Connections are made by name and index: the order of all declarations below is part of the
    // interface, and so is the spelling of their types without the namespace.
    // clazy:excludeall=fully-qualified-moc-types

signals:
    /** Comes before state() changes, also when both are equal. */
    void stateChanged(zk::SoftwareUpdate::EState oldState, zk::SoftwareUpdate::EState newState);
    /** A text for the user; an empty one clears it. */
    void messageChanged(const QString& message);
    /** A check has started; @p lastCheck is its time in the system's long format. */
    void lastCheckTextChanged(const QString& lastCheck);
    /** The user asked for the settings in the update-available dialog. */
    void openUpdateSettings();

public slots:
    /**
     * Requests the update document from @p serverUrl. Ends in one of the states eUpdateAvailable,
     * eUpToDate, eNoUpdateAvailable, eTimeout (after 15 s without an answer) and eError.
     */
    void performUpdateCheck(const QUrl& serverUrl);
    /**
     * Checks now if automatic checking is on. While the settings dialog is open it always checks,
     * at the address typed there.
     */
    void checkForUpdate();
    /** Checks in @p millisecondsDelay (less than 1: now) unless the settings dialog is open then.
     */
    void checkForUpdate(int millisecondsDelay);
    /** The host's call at start-up: checks after the delay if the user wants a check at each start,
     * otherwise if one is due. */
    void doInitialCheck(int msDelay = 0);
    /**
     * Shows the settings dialog; nothing without a parent widget. A modal one is executed: the call
     * returns when it closes. No flags: those of setWindowFlags().
     */
    void queryForUpdate(Qt::WindowFlags flags = {}, bool modal = true);
    /** Starts the hourly test whether a check is due. What is stored does not change. */
    void enableSoftwareUpdate();
    /** Stops the hourly test. What is stored does not change. */
    void disableSoftwareUpdate();
    /** The installed version of the host product. */
    void setVersionNumber(const VersionNumber&);
    /** From the next request on the system's proxy is used, as in the beginning. */
    void setSystemProxy();
    /** From the next request on @p proxy is used, of whatever type. */
    void setNetworkProxy(const QNetworkProxy& proxy);
    /**
     * Camera models with their firmware, for the next check. An empty list changes nothing. A model
     * name may not contain ':' or ',': these separate the items of the stored list.
     */
    void setCurrentCameraVersions(const SoftwareUpdate::TCurrentCameraVersions&);
    /**
     * The parent of future dialogs; not the QObject parent. Without one no dialog is shown: a check
     * that finds packages then stays in eChecking.
     */
    void setParent(QWidget* parent);
    /** The window flags of future dialogs. */
    void setWindowFlags(Qt::WindowFlags flags);
    /** Stores what the user chose and starts or stops the hourly test. */
    void applyDialogSettings(const SoftwareUpdateWidgetSettings& dialogSettings);
    /** What the client is doing, or how its last check ended. */
    Q_INVOKABLE SoftwareUpdate::EState state() const;
    /** The stored settings, read afresh. */
    Q_INVOKABLE SoftwareUpdate::SoftwareUpdateSettings getSettings() const;

private slots:
    void updateAvailable();
    void doBackgroundCheck();
    void downloadUrls(SoftwareUpdate::SoftUpIndexList itemIndexes);
    void downloadReleaseNotes(SoftwareUpdate::SoftUpIndexList itemIndexes);
    void downloadProgress(qint64 value, qint64 total);
    void downloadError(QNetworkReply::NetworkError errorCode);
    void installPackage(int itemIndex);
    QList<int> determineForeignLanguageRows(PackageInfoList list);
    void downloadFinished();
    void abortDownload();
    void evaluateServerResponse(QNetworkReply* reply);
    void requestTimeout();
    void requestError(const QString& errorText);
    void queryLastUpdate(int delay = 0);
    void deleteUpdateDialog();
    void deleteUpdateAvailableDialog();
    void deleteNetworkmanager();
    void deleteProgressDialog();
    void startZipInstall();
    void manageUpdateAvailableDialog(SoftwareUpdate::SoftUpIndexList indexList);
    void showHideForeignLanguageItems(bool);
    void openSettingsDialogFromUpdateAvailableDialog();

protected:
    /** What init() calls; @p settings must live longer. */
    SoftwareUpdateClient(const QString& productName, VersionNumber version,
                         const QString& serverUrl, AppSettings* settings, QWidget* parent);

private:
    friend struct SoftwareUpdateClientPrivate;

    static QPointer<SoftwareUpdateClient> s_Instance;

    const std::unique_ptr<SoftwareUpdateClientPrivate> d;

    bool setState(SoftwareUpdate::EState state);
    void getCurrentSettings(SoftwareUpdate::SoftwareUpdateSettings* settings) const;
    void setCurrentSettings(const SoftwareUpdate::SoftwareUpdateSettings* settings);
    QString transformReleaseStatus(bool beta) const;
    QNetworkProxy networkProxy(const QString& url);
    SoftwareUpdate::EUpdateParsingResult parseServerResponse(QNetworkReply* reply);
    void productUpToDate();
    void installDEBPackage();
    void installEXEPackage();
    void installMPKGPackage();
    void installMSIPackage();
    void installRPKPackage();
    void installTARGZPackage();
    void installZIPPackage();
};

} // namespace zk

#include "client/SoftwareUpdateClient.h"
#include "install/DownloadManager.h"
#include "install/FileDownloader.h"
#include "ui/SoftwareUpdateAvailableDialog.h"
#include "ui/SoftwareUpdateWidget.h"

#include "RecordingSettings.h"
#include "Rows.h"

#include <QMetaMethod>

Q_DECLARE_METATYPE(const QMetaObject*)

using namespace zk;

namespace {

/** "type name(type name, ...)" with what kind it is in front. */
QString described(const QMetaMethod& method)
{
    const QList<QByteArray> types = method.parameterTypes();
    const QList<QByteArray> names = method.parameterNames();
    QStringList parameters;
    for (int i = 0; i < types.size(); ++i) {
        parameters << QString::fromLatin1(types[i] + (names[i].isEmpty() ? "" : " ") + names[i]);
    }
    const QString kind = method.methodType() == QMetaMethod::Signal ? QStringLiteral("signal ")
                         : method.access() == QMetaMethod::Private  ? QStringLiteral("private ")
                                                                    : QString();
    return kind + QString::fromLatin1(QByteArray(method.typeName()) + ' ' + method.name()) +
           QLatin1Char('(') + parameters.join(QStringLiteral(", ")) + QLatin1Char(')');
}

const char* const clientMethods =
    "signal void stateChanged(zk::SoftwareUpdate::EState oldState, zk::SoftwareUpdate::EState "
    "newState)\n"
    "signal void messageChanged(QString message)\n"
    "signal void lastCheckTextChanged(QString lastCheck)\n"
    "signal void openUpdateSettings()\n"
    "void performUpdateCheck(QUrl serverUrl)\n"
    "void checkForUpdate()\n"
    "void checkForUpdate(int millisecondsDelay)\n"
    "void doInitialCheck(int msDelay), 0\n"
    "void queryForUpdate(Qt::WindowFlags flags, bool modal), 1, 0\n"
    "void enableSoftwareUpdate()\n"
    "void disableSoftwareUpdate()\n"
    "void setVersionNumber(VersionNumber)\n"
    "void setSystemProxy()\n"
    "void setNetworkProxy(QNetworkProxy proxy)\n"
    "void setCurrentCameraVersions(SoftwareUpdate::TCurrentCameraVersions)\n"
    "void setParent(QWidget* parent)\n"
    "void setWindowFlags(Qt::WindowFlags flags)\n"
    "void applyDialogSettings(SoftwareUpdateWidgetSettings dialogSettings)\n"
    "SoftwareUpdate::EState state()\n"
    "SoftwareUpdate::SoftwareUpdateSettings getSettings()\n"
    "private void updateAvailable()\n"
    "private void doBackgroundCheck()\n"
    "private void downloadUrls(SoftwareUpdate::SoftUpIndexList itemIndexes)\n"
    "private void downloadReleaseNotes(SoftwareUpdate::SoftUpIndexList itemIndexes)\n"
    "private void downloadProgress(qlonglong value, qlonglong total)\n"
    "private void downloadError(QNetworkReply::NetworkError errorCode)\n"
    "private void installPackage(int itemIndex)\n"
    "private QList<int> determineForeignLanguageRows(PackageInfoList list)\n"
    "private void downloadFinished()\n"
    "private void abortDownload()\n"
    "private void evaluateServerResponse(QNetworkReply* reply)\n"
    "private void requestTimeout()\n"
    "private void requestError(QString errorText)\n"
    "private void queryLastUpdate(int delay), 0\n"
    "private void deleteUpdateDialog()\n"
    "private void deleteUpdateAvailableDialog()\n"
    "private void deleteNetworkmanager()\n"
    "private void deleteProgressDialog()\n"
    "private void startZipInstall()\n"
    "private void manageUpdateAvailableDialog(SoftwareUpdate::SoftUpIndexList indexList)\n"
    "private void showHideForeignLanguageItems(bool)\n"
    "private void openSettingsDialogFromUpdateAvailableDialog()\n";

// qlonglong is what Qt calls qint64 when asked for it.
const char* const downloaderMethods =
    "signal void progress(qlonglong bytesSent, qlonglong bytesTotal)\n"
    "signal void finished(QString filePath)\n"
    "signal void error(QNetworkReply::NetworkError errorCode)\n"
    "private void fileDownloaded(QNetworkReply* pReply)\n";

const char* const managerMethods =
    "signal void unzippingDone(QString folder)\n"
    "void runInstaller(QString filePath)\n"
    "void unzippingFinished(QString folder)\n"
    "void unzippingFailed(QString message)\n"
    "void incProgress(qlonglong bytes)\n"
    "PackageInfoList recentPackages(PackageInfo filter)\n"
    "PackageInfoList recentPackages(QString type, QString name, QString release, QString status, "
    "QDateTime releaseDate, QSet<QString> platforms, QSet<QString> languages), 6, 5, 4, 3, 2, 1, "
    "0\n"
    "PackageInfoList findBestMatches(PackageInfoList& packages, PackageInfo filter)\n";

const QMetaObject* const classes[] = {
    &SoftwareUpdateClient::staticMetaObject, &FileDownloader::staticMetaObject,
    &DownloadManager::staticMetaObject, &SoftwareUpdateWidget::staticMetaObject,
    &SoftwareUpdateAvailableDialog::staticMetaObject};

} // namespace

/**
 * What hosts reach by name and index: a renamed slot fails here and not at a user's. The numbers
 * behind a method are those of the arguments it may be called with too.
 */
class tst_Interfaces : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        test::RecordingSettings settings;
        SoftwareUpdateClient::init(QString(), VersionNumber(), QString(), &settings);
        SoftwareUpdateClient::deleteInstance();
    }

    void publishesMethods_data()
    {
        test::columns<const QMetaObject*, QStringList>("meta", "methods");
        test::row("client", classes[0], test::lines(clientMethods));
        test::row("file downloader", classes[1], test::lines(downloaderMethods));
        test::row("download manager", classes[2], test::lines(managerMethods));
    }
    void publishesMethods()
    {
        QFETCH(const QMetaObject*, meta);
        QStringList actual;
        for (int i = meta->methodOffset(); i < meta->methodCount(); ++i) {
            const QMetaMethod method = meta->method(i);
            if ((method.attributes() & QMetaMethod::Cloned) != 0) {
                actual.last() += QStringLiteral(", %1").arg(method.parameterCount());
            } else {
                actual << described(method);
            }
        }
        QTEST(actual, "methods");
    }

    void knowsTypesByBothNames()
    {
        for (const char* spelled :
             {"VersionNumber", "SoftwareUpdateWidgetSettings", "SoftwareUpdate::SoftUpIndexList",
              "SoftwareUpdate::TCurrentCameraVersions", "SoftwareUpdate::EState",
              "SoftwareUpdate::SoftwareUpdateSettings", "PackageInfo", "PackageInfoList"}) {
            const int id = QMetaType::type(spelled);
            QVERIFY2(id != QMetaType::UnknownType, spelled);
            QCOMPARE(QMetaType::type(QByteArray("zk::") + spelled), id);
        }
    }

    void registersEveryType()
    {
        for (const QMetaObject* meta : classes) {
            for (int i = meta->methodOffset(); i < meta->methodCount(); ++i) {
                const QMetaMethod method = meta->method(i);
                const QList<QByteArray> types = method.parameterTypes() << method.typeName();
                for (const QByteArray& type : types) {
                    // Nothing that refers to the caller's own travels in an event.
                    QVERIFY2(type.endsWith('&') || QMetaType::type(type) != QMetaType::UnknownType,
                             (method.methodSignature() + ": " + type).constData());
                }
            }
        }
    }
};

QTEST_GUILESS_MAIN(tst_Interfaces)
#include "tst_Interfaces.moc"

#include "client/SoftwareUpdateClient.h"
#include "install/DownloadManager.h"
#include "install/FileDownloader.h"
#include "ui/SoftwareUpdateAvailableDialog.h"
#include "ui/SoftwareUpdateWidget.h"

#include "RecordingSettings.h"

#include <QMetaMethod>
#include <QTest>

Q_DECLARE_METATYPE(const QMetaObject*)

using namespace zk;

/** What hosts reach by name and index: a renamed slot fails here and not at a user's. */
class tst_Interfaces : public QObject
{
    Q_OBJECT

private slots:
    void publishesMethods_data();
    void publishesMethods();
    void knowsTypesByBothNames_data();
    void knowsTypesByBothNames();
    void registersEveryArgument_data();
    void registersEveryArgument();
    void connectsByText_data();
    void connectsByText();
    void isCalledByName();
};

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

const char* const clientMethods[] = {
    // clang-format off
    "signal void stateChanged(zk::SoftwareUpdate::EState oldState, zk::SoftwareUpdate::EState newState)",
    // clang-format on
    "signal void messageChanged(QString message)",
    "signal void lastCheckTextChanged(QString lastCheck)",
    "signal void openUpdateSettings()",
    "void performUpdateCheck(QUrl serverUrl)",
    "void checkForUpdate()",
    "void checkForUpdate(int millisecondsDelay)",
    "void doInitialCheck(int msDelay)",
    "void doInitialCheck()",
    "void queryForUpdate(Qt::WindowFlags flags, bool modal)",
    "void queryForUpdate(Qt::WindowFlags flags)",
    "void queryForUpdate()",
    "void enableSoftwareUpdate()",
    "void disableSoftwareUpdate()",
    "void setVersionNumber(VersionNumber)",
    "void setSystemProxy()",
    "void setNetworkProxy(QNetworkProxy proxy)",
    "void setCurrentCameraVersions(SoftwareUpdate::TCurrentCameraVersions)",
    "void setParent(QWidget* parent)",
    "void setWindowFlags(Qt::WindowFlags flags)",
    "void applyDialogSettings(SoftwareUpdateWidgetSettings dialogSettings)",
    "SoftwareUpdate::EState state()",
    "SoftwareUpdate::SoftwareUpdateSettings getSettings()",
    "private void updateAvailable()",
    "private void doBackgroundCheck()",
    "private void downloadUrls(SoftwareUpdate::SoftUpIndexList itemIndexes)",
    "private void downloadReleaseNotes(SoftwareUpdate::SoftUpIndexList itemIndexes)",
    "private void downloadProgress(qlonglong value, qlonglong total)",
    "private void downloadError(QNetworkReply::NetworkError errorCode)",
    "private void installPackage(int itemIndex)",
    "private QList<int> determineForeignLanguageRows(PackageInfoList list)",
    "private void downloadFinished()",
    "private void abortDownload()",
    "private void evaluateServerResponse(QNetworkReply* reply)",
    "private void requestTimeout()",
    "private void requestError(QString errorText)",
    "private void queryLastUpdate(int delay)",
    "private void queryLastUpdate()",
    "private void deleteUpdateDialog()",
    "private void deleteUpdateAvailableDialog()",
    "private void deleteNetworkmanager()",
    "private void deleteProgressDialog()",
    "private void startZipInstall()",
    "private void manageUpdateAvailableDialog(SoftwareUpdate::SoftUpIndexList indexList)",
    "private void showHideForeignLanguageItems(bool)",
    "private void openSettingsDialogFromUpdateAvailableDialog()",
};

// qlonglong is what Qt calls qint64 when asked for it.
const char* const downloaderMethods[] = {
    "signal void progress(qlonglong bytesSent, qlonglong bytesTotal)",
    "signal void finished(QString filePath)",
    "signal void error(QNetworkReply::NetworkError errorCode)",
    "private void fileDownloaded(QNetworkReply* pReply)",
};

template <std::size_t Size>
QStringList list(const char* const (&lines)[Size])
{
    QStringList result;
    for (const char* line : lines) {
        result << QString::fromLatin1(line);
    }
    return result;
}

} // namespace

void tst_Interfaces::publishesMethods_data()
{
    QTest::addColumn<const QMetaObject*>("meta");
    QTest::addColumn<QStringList>("methods");
    QTest::newRow("client") << &SoftwareUpdateClient::staticMetaObject << list(clientMethods);
    QTest::newRow("file downloader")
        << &FileDownloader::staticMetaObject << list(downloaderMethods);
}

void tst_Interfaces::publishesMethods()
{
    QFETCH(const QMetaObject*, meta);
    QFETCH(QStringList, methods);
    QStringList actual;
    for (int i = meta->methodOffset(); i < meta->methodCount(); ++i) {
        actual << described(meta->method(i));
    }
    QCOMPARE(actual, methods);
}

void tst_Interfaces::knowsTypesByBothNames_data()
{
    QTest::addColumn<QByteArray>("full");
    for (const char* spelled :
         {"VersionNumber", "SoftwareUpdateWidgetSettings", "SoftwareUpdate::SoftUpIndexList",
          "SoftwareUpdate::TCurrentCameraVersions", "SoftwareUpdate::EState",
          "SoftwareUpdate::SoftwareUpdateSettings", "PackageInfo", "PackageInfoList"}) {
        QTest::newRow(spelled) << QByteArray("zk::") + spelled;
    }
}

void tst_Interfaces::knowsTypesByBothNames()
{
    QFETCH(QByteArray, full);
    test::RecordingSettings settings;
    SoftwareUpdateClient::init(QString(), VersionNumber(), QString(), &settings);
    SoftwareUpdateClient::deleteInstance();
    const int id = QMetaType::type(QTest::currentDataTag());
    QVERIFY(id != QMetaType::UnknownType);
    QCOMPARE(QMetaType::type(full.constData()), id);
}

void tst_Interfaces::registersEveryArgument_data()
{
    QTest::addColumn<const QMetaObject*>("meta");
    for (const QMetaObject* meta :
         {&SoftwareUpdateClient::staticMetaObject, &FileDownloader::staticMetaObject,
          &DownloadManager::staticMetaObject, &SoftwareUpdateWidget::staticMetaObject,
          &SoftwareUpdateAvailableDialog::staticMetaObject}) {
        QTest::newRow(meta->className()) << meta;
    }
}

void tst_Interfaces::registersEveryArgument()
{
    QFETCH(const QMetaObject*, meta);
    for (int i = meta->methodOffset(); i < meta->methodCount(); ++i) {
        const QMetaMethod method = meta->method(i);
        const QList<QByteArray> types = method.parameterTypes();
        for (const QByteArray& type : types) {
            // Nothing that refers to the caller's own travels in an event.
            QVERIFY2(type.endsWith('&') || QMetaType::type(type) != QMetaType::UnknownType,
                     (method.methodSignature() + ": " + type).constData());
        }
        QVERIFY2(QMetaType::type(method.typeName()) != QMetaType::UnknownType,
                 method.methodSignature().constData());
    }
}

void tst_Interfaces::connectsByText_data()
{
    QTest::addColumn<const QMetaObject*>("sender");
    QTest::addColumn<QByteArray>("slot");
    const QMetaObject* const widget = &SoftwareUpdateWidget::staticMetaObject;
    const QMetaObject* const dialog = &SoftwareUpdateAvailableDialog::staticMetaObject;
    QTest::newRow("applySettings( const SoftwareUpdateWidgetSettings & )")
        << widget << QByteArray("applyDialogSettings( const SoftwareUpdateWidgetSettings & )");
    QTest::newRow("forceUpdateAvailable()") << widget << QByteArray("updateAvailable()");
    const QByteArray rows = "( const SoftwareUpdate::SoftUpIndexList & )";
    QTest::newRow((QByteArray("downloadUrls") + rows).constData())
        << dialog << QByteArray("downloadUrls") + rows;
    QTest::newRow((QByteArray("downloadReleaseNotes") + rows).constData())
        << dialog << QByteArray("downloadReleaseNotes") + rows;
    QTest::newRow((QByteArray("currentItemsChangedSig") + rows).constData())
        << dialog << QByteArray("manageUpdateAvailableDialog") + rows;
    QTest::newRow("installPackage( const int )")
        << dialog << QByteArray("installPackage( const int )");
    QTest::newRow("showAllLanguages( const bool )")
        << dialog << QByteArray("showHideForeignLanguageItems( const bool )");
    QTest::newRow("openUpdateSettings()") << dialog << QByteArray("openUpdateSettings()");
    QTest::newRow("accepted()") << dialog << QByteArray("deleteUpdateAvailableDialog()");
    QTest::newRow("rejected()") << dialog << QByteArray("deleteUpdateDialog()");
}

void tst_Interfaces::connectsByText()
{
    QFETCH(const QMetaObject*, sender);
    QFETCH(QByteArray, slot);
    const QMetaObject& client = SoftwareUpdateClient::staticMetaObject;
    const QByteArray from = QMetaObject::normalizedSignature(QTest::currentDataTag());
    const QByteArray to = QMetaObject::normalizedSignature(slot.constData());
    QVERIFY2(sender->indexOfSignal(from.constData()) >= 0, from.constData());
    QVERIFY2(client.indexOfMethod(to.constData()) >= 0, to.constData());
    QVERIFY(QMetaObject::checkConnectArgs(from.constData(), to.constData()));
}

void tst_Interfaces::isCalledByName()
{
    test::RecordingSettings settings;
    SoftwareUpdateClient::init(QStringLiteral("Viewer"), VersionNumber(L"1"), QString(), &settings);
    SoftwareUpdateClient* const client = SoftwareUpdateClient::instance();
    QVERIFY(QMetaObject::invokeMethod(client, "setVersionNumber",
                                      Q_ARG(VersionNumber, VersionNumber(L"2"))));
    const SoftwareUpdate::TCurrentCameraVersions cameras{
        {QStringLiteral("cam"), VersionNumber(L"3")}};
    // Queued, as from another thread.
    QVERIFY(QMetaObject::invokeMethod(client, "setCurrentCameraVersions", Qt::QueuedConnection,
                                      Q_ARG(SoftwareUpdate::TCurrentCameraVersions, cameras)));
    QTRY_COMPARE(client->getSettings().cameraVersions.size(), 1);
    SoftwareUpdate::SoftwareUpdateSettings stored;
    QVERIFY(QMetaObject::invokeMethod(
        client, "getSettings", Q_RETURN_ARG(SoftwareUpdate::SoftwareUpdateSettings, stored)));
    QCOMPARE(stored.version, VersionNumber(L"2"));
    SoftwareUpdate::EState state = SoftwareUpdate::eError;
    QVERIFY(
        QMetaObject::invokeMethod(client, "state", Q_RETURN_ARG(SoftwareUpdate::EState, state)));
    QCOMPARE(state, SoftwareUpdate::eIdle);
    PackageInfo firmware;
    firmware.type = QStringLiteral("Camera Firmware");
    QList<int> rows;
    QVERIFY(QMetaObject::invokeMethod(client, "determineForeignLanguageRows",
                                      Q_RETURN_ARG(QList<int>, rows),
                                      Q_ARG(PackageInfoList, PackageInfoList{firmware})));
    QCOMPARE(rows, QList<int>{0});
    QVERIFY(QMetaObject::invokeMethod(client, "queryForUpdate"));
    QVERIFY(QMetaObject::invokeMethod(client, "doInitialCheck", Q_ARG(int, 100000)));
    SoftwareUpdateClient::deleteInstance();
}

QTEST_MAIN(tst_Interfaces)
#include "tst_Interfaces.moc"

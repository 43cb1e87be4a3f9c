#include "client/SoftwareUpdateClient.h"
#include "install/DownloadManager.h"
#include "install/FileDownloader.h"
#include "ui/SoftwareUpdateAvailableDialog.h"
#include "ui/SoftwareUpdateDialog.h"
#include "ui/SoftwareUpdateWidget.h"

#include "Files.h"
#include "RecordingSettings.h"
#include "Rows.h"

#include <QMetaMethod>
#include <QRegularExpression>

using namespace zk;

namespace {

/** "type name(type name, ...)" with what kind it is in front. */
QString described(const QMetaMethod& method)
{
    const QString kind = method.methodType() == QMetaMethod::Signal ? u"signal "_s
                         : method.access() == QMetaMethod::Private  ? u"private "_s
                                                                    : QString();
    QStringList parameters;
    for (int i = 0; i < method.parameterCount(); ++i) {
        const QByteArray name = method.parameterNames().at(i);
        parameters << QLatin1String((method.parameterTypes().at(i) + ' ' + name).trimmed());
    }
    return kind + QLatin1String(method.typeName()) + u' ' + QLatin1String(method.name()) + u'(' +
           parameters.join(u", "_s) + u')';
}

int typeId(const QByteArray& name)
{
#if QT_VERSION_MAJOR < 6
    return QMetaType::type(name);
#else
    return QMetaType::fromName(name).id();
#endif
}

const QMetaObject* const classes[] = {
    &SoftwareUpdateClient::staticMetaObject, &FileDownloader::staticMetaObject,
    &DownloadManager::staticMetaObject,      &SoftwareUpdateWidget::staticMetaObject,
    &SoftwareUpdateDialog::staticMetaObject, &SoftwareUpdateAvailableDialog::staticMetaObject};

} // namespace

/** What hosts reach by name and index: a renamed slot fails here and not at a user's. */
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

    void publishesMethods()
    {
        QStringList actual;
        for (const QMetaObject* meta : classes) {
            actual << u"[%1]"_s.arg(QLatin1String(meta->className()));
            for (int i = meta->methodOffset(); i < meta->methodCount(); ++i) {
                const QMetaMethod method = meta->method(i);
                if ((method.attributes() & QMetaMethod::Cloned) != 0) {
                    actual.last() += u", %1"_s.arg(method.parameterCount());
                } else {
                    actual << described(method);
                }
            }
        }
        const QByteArray file = test::readFile(QFINDTESTDATA("published-methods.txt"));
        const auto published = test::lines(file).filter(QRegularExpression(u"^[^#]"_s));
        for (int i = 0; i < qMax(actual.size(), published.size()); ++i) {
            QCOMPARE(actual.value(i), published.value(i));
        }
    }

    void knowsTypesByBothNames()
    {
        for (const char* spelled :
             {"VersionNumber", "SoftwareUpdateWidgetSettings", "SoftwareUpdate::SoftUpIndexList",
              "SoftwareUpdate::TCurrentCameraVersions", "SoftwareUpdate::EState",
              "SoftwareUpdate::SoftwareUpdateSettings", "PackageInfo", "PackageInfoList"}) {
            const int id = typeId(spelled);
            QVERIFY2(id != QMetaType::UnknownType, spelled);
            QCOMPARE(typeId(QByteArray("zk::") + spelled), id);
        }
    }

    void registersEveryType()
    {
        for (const QMetaObject* meta : classes) {
            if (meta == &SoftwareUpdateDialog::staticMetaObject) {
                continue; // its one slot is for a button of its own
            }
            for (int i = meta->methodOffset(); i < meta->methodCount(); ++i) {
                const QMetaMethod method = meta->method(i);
                const QList<QByteArray> types = method.parameterTypes() << method.typeName();
                for (const QByteArray& type : types) {
                    // Nothing that refers to the caller's own travels in an event.
                    QVERIFY2(type.endsWith('&') || typeId(type) != QMetaType::UnknownType,
                             (method.methodSignature() + ": " + type).constData());
                }
            }
        }
    }
};

QTEST_GUILESS_MAIN(tst_Interfaces)
#include "tst_Interfaces.moc"

#include "RecordingSettings.h"
#include "Rows.h"

#include "client/CheckSchedule.h"
#include "client/StoredSettings.h"

#include <QFile>
#include <QLocale>
#include <QRegularExpression>
#include <QSettings>
#include <QTemporaryDir>
#include <QTest>

using namespace zk;
using SoftwareUpdate::SoftwareUpdateSettings;

class tst_StoredSettings : public QObject
{
    Q_OBJECT

private slots:
    void readsDefaultsInOrder();
    void writesInOrder();
    void writesOneSidedly();
    void comesBackFromAFile();
    void comesBackFromTheNativeStore_data();
    void comesBackFromTheNativeStore();
    void readsNonsense_data();
    void readsNonsense();
    void convertsForTheWidget();
    void knowsWhenACheckIsDue_data();
    void knowsWhenACheckIsDue();
};

namespace {

SoftwareUpdateSettings example()
{
    SoftwareUpdateSettings settings;
    settings.productName = QStringLiteral("Viewer, \"Pro\"");
    settings.version = VersionNumber(L"v4.3.1.778-beta");
    settings.serverUrl = QStringLiteral("http://h/a,b?c=%20");
    settings.automaticCheck = false;
    settings.includeBeta = true;
    settings.checkInterval = 3;
    settings.lastCheck = QDateTime(QDate(2026, 3, 4), QTime(5, 6, 7));
    settings.platforms = QStringList{QStringLiteral("Win32"), QStringLiteral("Win64")};
    settings.packageSuffixes = QStringList{QStringLiteral("exe")};
    settings.cameraVersions = {{QStringLiteral("cam 1"), VersionNumber(L"1.2")},
                               {QStringLiteral("cam2"), VersionNumber()}};
    return settings;
}

/** All of it in one text. */
QString text(const SoftwareUpdateSettings& s)
{
    QStringList cameras;
    for (const auto& camera : s.cameraVersions) {
        cameras << camera.first + QLatin1Char('=') +
                       QString::fromStdWString(camera.second.toString());
    }
    const auto join = [](const QStringList& list) { return list.join(QLatin1Char('+')); };
    return QStringList{s.productName,
                       QString::fromStdWString(s.version.toString()),
                       s.serverUrl,
                       QString::number(int(s.automaticCheck)),
                       QString::number(int(s.includeBeta)),
                       QString::number(s.checkInterval),
                       s.lastCheck.toString(Qt::ISODate),
                       join(s.platforms),
                       join(s.packageSuffixes),
                       join(s.installableSuffixes),
                       join(cameras)}
        .join(QLatin1Char('|'));
}

} // namespace

void tst_StoredSettings::readsDefaultsInOrder()
{
    test::RecordingSettings store;
    const SoftwareUpdateSettings settings = readSettings(store);
    QCOMPARE(text(settings), QStringLiteral("|0||1|0|0|||||"));
    QVERIFY(settings.lastCheck.isNull());
    QCOMPARE(settings.reserved, 0);
    QCOMPARE(store.calls.join(QLatin1Char(' ')).remove(QStringLiteral("get ")),
             QStringLiteral("44 45 46 43 40 39 47 48 49 50 51"));
}

void tst_StoredSettings::writesInOrder()
{
    test::RecordingSettings store;
    writeSettings(store, example());
    const QStringList expected = test::lines(
        "set 44 false\nset 45 true\nset 46 3\nset 43 http://h/a,b?c=%20\nset 40 v4.3.1.778-beta\n"
        "set 39 Viewer, \"Pro\"\nset 47 2026-03-04T05:06:07.000\nset 48 Win32,Win64\nset 49 exe\n"
        "set 50 \nset 51 cam 1:1.2,cam2:");
    QCOMPARE(store.calls, expected);
}

void tst_StoredSettings::writesOneSidedly()
{
    test::RecordingSettings store;
    writeSettings(store, example());
    store.calls.clear();
    SoftwareUpdateSettings nothing;
    nothing.serverUrl = QLatin1String("");
    writeSettings(store, nothing);
    QCOMPARE(store.calls.join(QLatin1Char(' ')),
             QStringLiteral("set 44 true set 45 false set 46 0 set 48  set 49  set 50 "));
    store.calls.clear();
    // Empty is not null: a host may have no name.
    nothing.productName = QLatin1String("");
    writeSettings(store, nothing);
    QVERIFY(store.calls.contains(QStringLiteral("set 39 ")));
    QCOMPARE(readSettings(store).serverUrl, example().serverUrl);
}

void tst_StoredSettings::comesBackFromAFile()
{
    QTemporaryDir folder;
    const QString path = folder.filePath(QStringLiteral("settings.ini"));
    {
        AppSettings store(path);
        writeSettings(store, example());
    }
    AppSettings store(path);
    QCOMPARE(text(readSettings(store)), text(example()));
}

void tst_StoredSettings::comesBackFromTheNativeStore_data()
{
    test::columns<QString>("product");
    const auto row = [](const char* name, const char* product) {
        test::row(name, QString::fromUtf8(product));
    };
    row("latin letters", "Viewer, \"Pro\"");
    row("other alphabets", "Prøve Камера 测试");
    row("beyond 16 bits", "Kamera \xf0\x9f\x93\xb7");
    row("separators", R"(a/b\c)");
}

// The registry on Windows.
void tst_StoredSettings::comesBackFromTheNativeStore()
{
    QFETCH(QString, product);
    const QTemporaryDir folder;
    QSettings::setPath(QSettings::NativeFormat, QSettings::UserScope, folder.path());
    const QString organisation = QStringLiteral("SoftwareUpdateClient tests Prøve 测试");
    const auto settings = [&product] {
        SoftwareUpdateSettings result = example();
        result.productName = product;
        return result;
    }();
    // One application for each product, as hosts have it; of these names only the registry and
    // files forbid some.
    const QString application =
        QString(product).remove(QRegularExpression(QStringLiteral(R"([/\\"])")));
    {
        AppSettings store(QSettings::NativeFormat, QSettings::UserScope, organisation, application);
        writeSettings(store, settings);
    }
#ifdef Q_OS_WIN
    QVERIFY(QSettings(QSettings::NativeFormat, QSettings::UserScope, organisation, application)
                .fileName()
                .startsWith(QStringLiteral("\\HKEY_CURRENT_USER\\Software\\")));
#endif
    QString read;
    {
        AppSettings store(QSettings::NativeFormat, QSettings::UserScope, organisation, application);
        read = text(readSettings(store));
    }
    QSettings(QSettings::NativeFormat, QSettings::UserScope, organisation).clear();
    QSettings(QSettings::NativeFormat, QSettings::UserScope, organisation, application).clear();
    QCOMPARE(read, text(settings));
}

void tst_StoredSettings::readsNonsense_data()
{
    test::columns<QByteArray, QString>("ini", "read");
    const auto row = [](const char* name, const char* line, const char* read) {
        test::row(name, QByteArray(line), QString::fromLatin1(read));
    };
    row("flags that are off", "UpdateAutomaticCheck=false\nUpdateIncludeBeta=0", "|0||0|0|0|||||");
    row("flags that are on", "UpdateAutomaticCheck=1\nUpdateIncludeBeta=true", "|0||1|1|0|||||");
    row("flags that are empty", "UpdateAutomaticCheck=\nUpdateIncludeBeta=", "|0||1|0|0|||||");
    row("interval and time that are words", "UpdateCheckInterval=abc\nUpdateLastCheck=abc",
        "|0||1|0|0|||||");
    row("interval that is none", "UpdateCheckInterval=7", "|0||1|0|7|||||");
    row("version that is none", "UpdateProductVersion=abc", "|||1|0|0|||||");
    row("lists that nobody quoted", "UpdatePlatforms=Win32, Win64\nUpdateProductName=a,b",
        "a,b|0||1|0|0||Win32+Win64|||");
    row("lists with holes", "UpdatePackageSuffixes=\",exe,,zip,\"", "|0||1|0|0|||exe+zip||");
    row("cameras with and without versions", "UpdateCameraVersions=\"a:1,b,c:2:3,:4\"",
        "|0||1|0|0|||||a=1+b=+c=2+=4");
    row("maps",
        "UpdateServerUrl=@Variant(\\0\\0\\0\\b\\0\\0\\0\\0)\n"
        "UpdateAutomaticCheck=@Variant(\\0\\0\\0\\b\\0\\0\\0\\0)",
        "|0||1|0|0|||||");
}

void tst_StoredSettings::readsNonsense()
{
    QFETCH(QByteArray, ini);
    QTemporaryDir folder;
    QFile file(folder.filePath(QStringLiteral("settings.ini")));
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write("[SoftwareUpdateGroup]\n" + ini + "\n");
    file.close();
    AppSettings store(file.fileName());
    QTEST(text(readSettings(store)), "read");
}

void tst_StoredSettings::convertsForTheWidget()
{
    const SoftwareUpdateWidgetSettings shown = toWidgetSettings(example());
    QVERIFY(!shown.checkForUpdates && shown.includeBeta);
    QCOMPARE(shown.checkInterval, 3);
    QCOMPARE(shown.updateServerUrl, example().serverUrl);
    QCOMPARE(shown.currentVersion, QStringLiteral("4.3.1-beta"));
    QCOMPARE(shown.lastCheck, QLocale::system().toString(example().lastCheck, QLocale::LongFormat));
    const SoftwareUpdateWidgetSettings empty = toWidgetSettings(SoftwareUpdateSettings());
    QVERIFY(empty.currentVersion.isNull() && empty.lastCheck.isEmpty());
}

void tst_StoredSettings::knowsWhenACheckIsDue_data()
{
    test::columns<int, QDateTime, QDateTime, bool>("interval", "lastCheck", "now", "due");
    // In UTC: a day that summer time makes shorter is not what is tried here.
    const auto at = [](const char* text) {
        return QDateTime::fromString(QString::fromLatin1(text) + QLatin1Char('Z'),
                                     Qt::ISODateWithMs);
    };
    const auto row = [&](const char* name, int interval, const char* last, const char* now,
                         bool due) { test::row(name, interval, at(last), at(now), due); };
    row("daily, 23 hours ago", 1, "2026-05-01T10:00:00", "2026-05-02T09:00:00", false);
    row("daily, 24 hours ago", 1, "2026-05-01T10:00:00", "2026-05-02T10:00:00", false);
    row("daily, a moment more", 1, "2026-05-01T10:00:00", "2026-05-02T10:00:00.001", true);
    row("daily, 25 hours ago", 1, "2026-05-01T10:00:00", "2026-05-02T11:00:00", true);
    row("weekly, after six days", 2, "2026-05-01T10:00:00", "2026-05-07T11:00:00", false);
    row("weekly, to the second", 2, "2026-05-01T10:00:00", "2026-05-08T10:00:00", false);
    row("weekly, a second more", 2, "2026-05-01T10:00:00", "2026-05-08T10:00:01", true);
    row("monthly, end of January", 3, "2026-01-31T10:00:00", "2026-02-28T10:00:00", false);
    row("monthly, end of February", 3, "2026-01-31T10:00:00", "2026-02-28T10:00:01", true);
    row("monthly, leap year", 3, "2024-01-31T10:00:00", "2024-02-29T09:59:59", false);
    row("monthly, over the new year", 3, "2025-12-15T10:00:00", "2026-01-15T10:00:01", true);
    row("clock set back", 1, "2027-01-01T10:00:00", "2026-01-01T10:00:00", false);
    const QDateTime now = at("2026-05-01T10:00:00");
    for (const int interval : {1, 2, 3}) {
        QTest::addRow("never checked, interval %d", interval)
            << interval << QDateTime() << now << true;
    }
    for (const int interval : {0, 4, -1}) {
        QTest::addRow("no schedule, interval %d", interval)
            << interval << now.addYears(-1) << now << false;
    }
}

void tst_StoredSettings::knowsWhenACheckIsDue()
{
    QFETCH(int, interval);
    QFETCH(QDateTime, lastCheck);
    QFETCH(QDateTime, now);
    QTEST(isCheckDue(interval, lastCheck, now), "due");
}

QTEST_GUILESS_MAIN(tst_StoredSettings)
#include "tst_StoredSettings.moc"

#include "Files.h"
#include "RecordingSettings.h"
#include "Rows.h"

#include "client/CheckSchedule.h"
#include "client/SettingsStore.h"

#include <QSettings>
#include <QTemporaryDir>
#include <QTemporaryFile>

#ifdef Q_OS_UNIX
#include <csignal>

#include <sys/resource.h>
#endif

using namespace zk;
using namespace zk::test;
using SoftwareUpdate::SoftwareUpdateSettings;

namespace {

SoftwareUpdateSettings example(const QString& product)
{
    SoftwareUpdateSettings settings;
    settings.productName = product;
    settings.version = VersionNumber(L"v4.3.1.778-beta");
    settings.serverUrl = u"http://h/a,b?c=%20"_s;
    settings.automaticCheck = false;
    settings.includeBeta = true;
    settings.checkInterval = 3;
    settings.lastCheck = QDateTime(QDate(2026, 3, 4), QTime(5, 6, 7));
    settings.platforms = QStringList{u"Win32"_s, u"Win64"_s};
    settings.packageSuffixes = QStringList{u"exe"_s};
    settings.cameraVersions = {{u"cam 1"_s, VersionNumber(L"1.2")}, {u"cam2"_s, VersionNumber()}};
    return settings;
}

/** What is written of it, in that order. */
QString text(const SoftwareUpdateSettings& settings)
{
    RecordingSettings store;
    SettingsStore(&store).write(settings);
    return store.calls.join(u" | "_s).remove(u"set "_s);
}

void setWritable(const QString& path, bool canWrite)
{
    QFile::setPermissions(path, canWrite ? QFile::ReadOwner | QFile::WriteOwner : QFile::ReadOwner);
#ifdef Q_OS_UNIX
    // The permissions that stop the superuser too.
    std::signal(SIGXFSZ, SIG_IGN);
    rlimit limit{};
    getrlimit(RLIMIT_FSIZE, &limit);
    limit.rlim_cur = canWrite ? limit.rlim_max : 50;
    setrlimit(RLIMIT_FSIZE, &limit);
#endif
}

} // namespace

class tst_SettingsStore : public QObject
{
    Q_OBJECT

private slots:
    void readsAndWritesInOrder()
    {
        RecordingSettings store;
        QVERIFY(SettingsStore(&store).read().lastCheck.isNull());
        QCOMPARE(store.calls.join(u' ').remove(u"get "_s), u"44 45 46 43 40 39 47 48 49 50 51"_s);
        const SoftwareUpdateSettings settings = example(u"Viewer, \"Pro\""_s);
        QCOMPARE(text(settings), u"44 false | 45 true | 46 3 | 43 http://h/a,b?c=%20 | "
                                 "40 v4.3.1.778-beta | 39 Viewer, \"Pro\" | "
                                 "47 2026-03-04T05:06:07.000 | 48 Win32,Win64 | 49 exe | 50  | "
                                 "51 cam 1:1.2,cam2:"_s);
        // Null is not written, empty is: a host may have no name.
        SoftwareUpdateSettings nothing;
        nothing.serverUrl = u""_s;
        QCOMPARE(text(nothing), u"44 true | 45 false | 46 0 | 48  | 49  | 50 "_s);
        nothing.productName = u""_s;
        QVERIFY(text(nothing).contains(u" | 39  | "_s));
    }

    // From the registry on Windows.
    void comesBack()
    {
        const QTemporaryDir folder;
        QSettings::setPath(QSettings::NativeFormat, QSettings::UserScope, folder.path());
        const auto name = u"SoftwareUpdateClient tests Prøve 测试"_s;
        const auto store = [&name] {
            return std::make_unique<AppSettings>(QSettings::NativeFormat, QSettings::UserScope,
                                                 name, name);
        };
        const auto product = u"a/b\\c, \"Prøve\" Камера 测试 \U0001f4f7"_s;
        SettingsStore(store().get()).write(example(product));
        const QString read = text(SettingsStore(store().get()).read());
        QSettings(QSettings::NativeFormat, QSettings::UserScope, name, name).clear();
        QCOMPARE(read, text(example(product)));
    }

    void readsNonsense_data()
    {
        columns<QString, QString>("ini", "read");
        row("flags that are off", "UpdateAutomaticCheck=false\nUpdateIncludeBeta=0", "44 false");
        row("flags that are on", "UpdateAutomaticCheck=1\nUpdateIncludeBeta=true", "45 true");
        row("words", "UpdateCheckInterval=abc\nUpdateLastCheck=abc", "");
        row("lists that nobody quoted", "UpdatePlatforms=Win32, Win64\nUpdateProductName=a,b",
            "39 a,b | 48 Win32,Win64");
        row("lists with holes", "UpdatePackageSuffixes=\",exe,,zip,\"", "49 exe,zip");
        row("cameras with and without versions", "UpdateCameraVersions=\"a:1,b,c:2:3,:4\"",
            "51 a:1,b:,c:2,:4");
        row("maps",
            "UpdateServerUrl=@Variant(\\0\\0\\0\\b\\0\\0\\0\\0)\n"
            "UpdateAutomaticCheck=@Variant(\\0\\0\\0\\b\\0\\0\\0\\0)",
            "");
    }
    void readsNonsense()
    {
        QFETCH(QString, ini);
        QTemporaryFile file;
        QVERIFY(file.open());
        file.write("[SoftwareUpdateGroup]\n" + ini.toUtf8());
        file.close();
        AppSettings store(file.fileName());
        RecordingSettings empty;
        QStringList read = text(SettingsStore(&store).read()).split(u" | "_s);
        const QStringList defaults = text(SettingsStore(&empty).read()).split(u" | "_s);
        for (const QString& value : defaults) {
            read.removeOne(value);
        }
        QTEST(read.join(u" | "_s), "read");
    }

    void losesNothingThatCannotBeStored()
    {
        constexpr auto group = AppSettings::SoftwareUpdateGroup;
        const QTemporaryDir folder;
        const QString path = folder.filePath(u"settings.ini"_s);
        const QByteArray before = "[Window]\nGeometry=1\n";
        writeFile(path, before);
        const QString version = u"4.3"_s;
        for (const bool isStoredLater : {false, true}) {
            setWritable(path, false);
            AppSettings store(path);
            store.set(version, group, AppSettings::UpdateProductVersion, true);
            QCOMPARE(store.value(group, AppSettings::UpdateProductVersion).toString(), version);
            // Nor does Qt write later what it could not.
            setWritable(path, true);
            const AppSettings later(path);
            QCoreApplication::processEvents();
            QCOMPARE(readFile(path), before);
            if (isStoredLater) {
                store.set(true, group, AppSettings::UpdateIncludeBeta, true);
                QVERIFY(readFile(path).contains("UpdateIncludeBeta"));
            }
        }
        QCOMPARE(QSettings(path, QSettings::IniFormat).allKeys(),
                 lines("SoftwareUpdateGroup/UpdateIncludeBeta\n"
                       "SoftwareUpdateGroup/UpdateProductVersion\nWindow/Geometry"));
    }

    void knowsWhenACheckIsDue_data()
    {
        columns<int, QString, QString, bool>("interval", "lastCheck", "now", "due");
        row("daily, 24 hours ago", 1, "2026-05-01T10:00", "2026-05-02T10:00", false);
        row("daily, a moment more", 1, "2026-05-01T10:00", "2026-05-02T10:00:00.001", true);
        row("weekly, to the second", 2, "2026-05-01T10:00", "2026-05-08T10:00", false);
        row("weekly, a second more", 2, "2026-05-01T10:00", "2026-05-08T10:00:01", true);
        row("monthly, end of January", 3, "2026-01-31T10:00", "2026-02-28T10:00", false);
        row("monthly, end of February", 3, "2026-01-31T10:00", "2026-02-28T10:00:01", true);
        row("monthly, over the new year", 3, "2025-12-15T10:00", "2026-01-15T10:00:01", true);
        row("clock set back a day", 1, "2026-01-02T10:00", "2026-01-01T10:00", false);
        // A clock that was wrong once must not put updates off for years.
        row("clock set back further", 3, "2026-01-02T10:00:01", "2026-01-01T10:00", true);
        row("never checked", 3, "", "2026-01-01T10:00", true);
        row("no schedule", 0, "2020-01-01T10:00", "2026-01-01T10:00", false);
        row("no schedule either", 4, "2020-01-01T10:00", "2026-01-01T10:00", false);
    }
    void knowsWhenACheckIsDue()
    {
        QFETCH(int, interval);
        QFETCH(QString, lastCheck);
        QFETCH(QString, now);
        // In UTC: a day that summer time makes shorter is not what is tried here.
        const auto at = [](const QString& time) {
            return QDateTime::fromString(time + u'Z', Qt::ISODateWithMs);
        };
        QTEST(isCheckDue(interval, at(lastCheck), at(now)), "due");
    }
};

QTEST_GUILESS_MAIN(tst_SettingsStore)
#include "tst_SettingsStore.moc"

#include "Environment.h"
#include "ZipBuilder.h"

#include "support/AppSettings.h"
#include "support/Connect.h"
#include "support/Exception.h"
#include "support/FileUtils.h"
#include "support/StringUtils.h"

#include <QRegularExpression>
#include <QTest>
#include <QTimer>

#include <utility>

#ifdef Q_OS_UNIX
#include <csignal>
#include <sys/resource.h>
#endif

using namespace zk;

class tst_SupportUtilities : public QObject
{
    Q_OBJECT

private slots:
    void splitsWords()
    {
        const auto split = [](const QString& text) {
            return StringUtils::splitStringSet(text, StringUtils::splitWords,
                                               QString::SplitBehavior(Qt::SkipEmptyParts));
        };
        QCOMPARE(split(QStringLiteral(" de_DE, zh-Hans;\tfr|fr  ")),
                 (QSet<QString>{QStringLiteral("de_DE"), QStringLiteral("zh-Hans"),
                                QStringLiteral("fr")}));
        for (ushort c = 1; c < 0xd800; ++c) { // the short cut for this expression agrees with it
            const QString text = QStringLiteral("a%1b").arg(QChar(c));
            QCOMPARE(split(text).size(), text.contains(StringUtils::splitWords) ? 2 : 1);
        }
    }

    void comparesBeginnings()
    {
        const QSet<QString> both{QStringLiteral("Win32"), QStringLiteral("Win64")};
        QVERIFY(StringUtils::intersectsOnBeginning(both, {QStringLiteral("Win")}));
        QVERIFY(StringUtils::intersectsOnBeginning(both, {QStringLiteral("Win64 SP1")}));
        QVERIFY(!StringUtils::intersectsOnBeginning(both, {QStringLiteral("win32")}));
        QVERIFY(!StringUtils::intersectsOnBeginning(both, {}));
    }

    void joinsNativePaths()
    {
        const QString joined = QDir::toNativeSeparators(QStringLiteral("/a b/c.exe"));
        QCOMPARE(FileUtils::nativePath(QStringLiteral("/a b"), QStringLiteral("c.exe")), joined);
        QCOMPARE(FileUtils::nativePath(QStringLiteral("/a b/"), QStringLiteral("/c.exe")), joined);
        QCOMPARE(FileUtils::nativePath(QString(), QStringLiteral("c")), QStringLiteral("c"));
    }

    void erasesOnlyWhatIsNamed()
    {
        const QDir dir(FileUtils::createTempDir());
        QVERIFY(dir.isEmpty() && dir.mkpath(QStringLiteral("tree/sub")));
        const QString file = dir.filePath(QStringLiteral("tree/sub/file"));
        test::writeFile(file, "x");
        const QString oldFolder = QDir::currentPath();
        QVERIFY(QDir::setCurrent(dir.path()));
        for (const QString& path : {QString(), QStringLiteral("tree"), QDir::rootPath(),
                                    dir.filePath(QStringLiteral("missing"))}) {
            QVERIFY2(!FileUtils::erase(path), qPrintable(path));
        }
        QVERIFY(QDir::setCurrent(oldFolder));
#ifdef Q_OS_UNIX
        QVERIFY(QFile::link(dir.filePath(QStringLiteral("tree")),
                            dir.path() + QStringLiteral("/link")));
        QVERIFY(FileUtils::erase(dir.filePath(QStringLiteral("link"))));
#endif
        QVERIFY(QFile::exists(file));
        QVERIFY(FileUtils::erase(dir.path()) && !dir.exists());
        const test::ScopedTemporaryFolder missing(dir.path());
        QCOMPARE(FileUtils::createTempDir(), QString());
    }

    void storesSettingsReadably()
    {
        const QTemporaryDir dir;
        const QString path = dir.filePath(QStringLiteral("host.ini"));
        AppSettings settings(path);
        settings.set(QStringLiteral("http://ü/"), AppSettings::SoftwareUpdateGroup,
                     AppSettings::UpdateServerUrl, true);
        // Written through: on disk while the store lives on.
        QVERIFY(test::readFile(path).replace('\r', "").contains(
            "[SoftwareUpdateGroup]\nUpdateServerUrl="));
        QCOMPARE(
            AppSettings(path).value(AppSettings::SoftwareUpdateGroup, AppSettings::UpdateServerUrl),
            QVariant(QStringLiteral("http://ü/")));
    }

    void keepsSettingsOnAFullDisk()
    {
#ifdef Q_OS_UNIX
        const QTemporaryDir dir;
        const QString path = dir.filePath(QStringLiteral("host.ini"));
        // Larger than the lock file beside it.
        const QByteArray before =
            "[SoftwareUpdateGroup]\nUpdateIncludeBeta=true\n\n[Window]\nTitle=" +
            QByteArray(500, 'x') + '\n';
        test::writeFile(path, before);
        rlimit limit{};
        QCOMPARE(getrlimit(RLIMIT_FSIZE, &limit), 0);
        const rlim_t unlimited = std::exchange(limit.rlim_cur, rlim_t(before.size()));
        // Too large a file is an error of write() then.
        std::signal(SIGXFSZ, SIG_IGN);
        QCOMPARE(setrlimit(RLIMIT_FSIZE, &limit), 0);
        AppSettings(path).set(QStringLiteral("http://h/"), AppSettings::SoftwareUpdateGroup,
                              AppSettings::UpdateServerUrl, true);
        limit.rlim_cur = unlimited;
        QCOMPARE(setrlimit(RLIMIT_FSIZE, &limit), 0);
        QCOMPARE(test::readFile(path), before);
        QCOMPARE(QDir(dir.path()).entryList(QDir::Files), QStringList{QStringLiteral("host.ini")});
#else
        QSKIP("there is no limit of file sizes that could play the full disk");
#endif
    }

    void keepsTheCauseOfAnException()
    {
        try {
            const IOException cause(QStringLiteral("no space"));
            throw IOException(QStringLiteral("could not write"), &cause);
        } catch (const ExceptionQt& error) {
            QCOMPARE(error.message(), QStringLiteral("could not write"));
            QCOMPARE(error.cause()->message(), QStringLiteral("no space"));
        }
    }

    void reportsFailedConnections()
    {
        QTimer timer;
        QVERIFY(zk::connect(&timer, "2timeout( )", &timer, SLOT(stop()), Qt::AutoConnection));
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QStringLiteral("No such slot")));
        QVERIFY(!zk::connect(&timer, SIGNAL(timeout()), &timer, SLOT(halt()), Qt::AutoConnection));
    }
};

QTEST_GUILESS_MAIN(tst_SupportUtilities)
#include "tst_SupportUtilities.moc"

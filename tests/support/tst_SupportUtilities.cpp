#include "Environment.h"

#include "MessageFilter.h"

#include "support/AppSettings.h"
#include "support/Connect.h"
#include "support/Exception.h"
#include "support/FileUtils.h"
#include "support/StringUtils.h"

#include <QDir>
#include <QFileDialog>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>

#include <utility>

#ifdef Q_OS_UNIX
#include <csignal>
#include <sys/resource.h>
#endif

using namespace zk;

namespace {

QSet<QString> set(std::initializer_list<const char*> words)
{
    QSet<QString> result;
    for (const char* word : words) {
        result.insert(QString::fromUtf8(word));
    }
    return result;
}

bool touch(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write("x") == 1;
}

} // namespace

class tst_SupportUtilities : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { zk::test::dropOffscreenSizeHintLine(); }
    void splitsWords();
    void comparesSets();
    void joinsNativePaths();
    void erasesOnlyWhatIsNamed();
    void reportsATempFolderThatCannotBeMade();
    void asksForAFolder();
    void storesSettingsReadably();
    void keepsSettingsOnAFullDisk();
    void keepsTheCauseOfAnException();
    void reportsFailedConnections();
};

void tst_SupportUtilities::splitsWords()
{
    const auto split = [](const QString& text) {
        return StringUtils::splitStringSet(text, StringUtils::splitWords,
                                           QString::SplitBehavior(Qt::SkipEmptyParts));
    };
    QCOMPARE(split(QStringLiteral(" de_DE, zh-Hans;\tfr|en  en ")),
             set({"de_DE", "zh-Hans", "fr", "en"}));
    QCOMPARE(split(QString()), QSet<QString>());
    for (ushort c = 1; c < 0xd800; ++c) { // the short cut for this expression agrees with it
        const QString text = QStringLiteral("a%1b").arg(QChar(c));
        QCOMPARE(split(text).size(), text.contains(StringUtils::splitWords) ? 2 : 1);
    }
    QSet<QString> all = set({"a"});
    QCOMPARE(&StringUtils::appendAll(all, set({"a", "b"}), QStringLiteral("Download")), &all);
    QCOMPARE(all, set({"a", "b"}));
}

void tst_SupportUtilities::comparesSets()
{
    QVERIFY(StringUtils::intersectsWith(set({"a", "b"}), set({"b"})));
    QVERIFY(!StringUtils::intersectsWith(set({"a"}), set({"ab"})));
    QVERIFY(StringUtils::intersectsOnBeginning(set({"Win32", "Win64"}), set({"Win"})));
    QVERIFY(StringUtils::intersectsOnBeginning(set({"Win"}), set({"Win64 SP1"})));
    QVERIFY(!StringUtils::intersectsOnBeginning(set({"Win32"}), set({"Linux", "win32"})));
    QVERIFY(!StringUtils::intersectsOnBeginning(set({}), set({"a"})));
}

void tst_SupportUtilities::joinsNativePaths()
{
    const QString joined = QDir::toNativeSeparators(QStringLiteral("/a b/c.exe"));
    QCOMPARE(FileUtils::nativePath(QStringLiteral("/a b"), QStringLiteral("c.exe")), joined);
    QCOMPARE(FileUtils::nativePath(QStringLiteral("/a b/"), QStringLiteral("/c.exe")), joined);
    QCOMPARE(FileUtils::nativePath(QString(), QStringLiteral("c.exe")), QStringLiteral("c.exe"));
}

void tst_SupportUtilities::erasesOnlyWhatIsNamed()
{
    const QString dir = FileUtils::createTempDir();
    QVERIFY(QDir(dir).exists() && QDir(dir).isEmpty());
    QVERIFY(FileUtils::createTempDir() != dir);
    QVERIFY(QDir(dir).mkpath(QStringLiteral("tree/sub")));
    QVERIFY(touch(dir + QStringLiteral("/tree/sub/file")) && touch(dir + QStringLiteral("/kept")));

    const QString oldFolder = QDir::currentPath();
    QVERIFY(QDir::setCurrent(dir));
    QVERIFY(!FileUtils::erase(QString()));
    QVERIFY(!FileUtils::erase(QStringLiteral("kept")));
    QVERIFY(!FileUtils::erase(QDir::rootPath()));
    QVERIFY(!FileUtils::erase(dir + QStringLiteral("/missing")));
    QVERIFY(QDir::setCurrent(oldFolder));
    QVERIFY(QFile::exists(dir + QStringLiteral("/kept")));
#ifdef Q_OS_UNIX
    QVERIFY(QFile::link(dir + QStringLiteral("/tree"), dir + QStringLiteral("/link")));
    QVERIFY(FileUtils::erase(dir + QStringLiteral("/link")));
    QVERIFY(QFile::exists(dir + QStringLiteral("/tree/sub/file")));
#endif
    QVERIFY(FileUtils::erase(dir + QStringLiteral("/tree")));
    QVERIFY(!QFile::exists(dir + QStringLiteral("/tree")));
    QVERIFY(FileUtils::erase(dir));
}

void tst_SupportUtilities::reportsATempFolderThatCannotBeMade()
{
    const QTemporaryDir folder;
    const test::ScopedTemporaryFolder missing(folder.filePath(QStringLiteral("missing/folder")));
    QCOMPARE(FileUtils::createTempDir(), QString());
}

void tst_SupportUtilities::asksForAFolder()
{
    QCoreApplication::setAttribute(Qt::AA_DontUseNativeDialogs);
    const QTemporaryDir dir;
    QString chosen = QStringLiteral("before");
    const auto answer = [](bool accept) {
        QTimer::singleShot(0, QCoreApplication::instance(), [accept] {
            auto* dialog = qobject_cast<QDialog*>(QApplication::activeModalWidget());
            QVERIFY(dialog);
            accept ? dialog->accept() : dialog->reject();
        });
    };
    answer(false);
    QVERIFY(!FileUtils::openDirectoryDialog(chosen, QStringLiteral("Pick"), dir.path(), nullptr));
    QCOMPARE(chosen, QStringLiteral("before"));
    answer(true);
    QVERIFY(FileUtils::openDirectoryDialog(chosen, QStringLiteral("Pick"), dir.path(), nullptr));
    QCOMPARE(QDir(chosen), QDir(dir.path()));
}

void tst_SupportUtilities::storesSettingsReadably()
{
    const QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("host.ini"));
    AppSettings settings(path);
    QVERIFY(
        !settings.value(AppSettings::SoftwareUpdateGroup, AppSettings::UpdateServerUrl).isValid());
    settings.set(QStringLiteral("http://ü/"), AppSettings::SoftwareUpdateGroup,
                 AppSettings::UpdateServerUrl, true);
    QFile file(path);
    QVERIFY(file.open(QIODevice::ReadOnly |
                      QIODevice::Text)); // written through: on disk while the store lives on
    QVERIFY(file.readAll().contains("[SoftwareUpdateGroup]\nUpdateServerUrl="));
    QCOMPARE(
        AppSettings(path).value(AppSettings::SoftwareUpdateGroup, AppSettings::UpdateServerUrl),
        QVariant(QStringLiteral("http://ü/")));
}

void tst_SupportUtilities::keepsSettingsOnAFullDisk()
{
#ifdef Q_OS_UNIX
    const QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("host.ini"));
    // Larger than the lock file beside it.
    const QByteArray before =
        "[SoftwareUpdateGroup]\nUpdateIncludeBeta=true\n\n[Window]\nTitle=" + QByteArray(500, 'x') +
        '\n';
    QFile file(path);
    QVERIFY(file.open(QIODevice::ReadWrite) && file.write(before) == before.size() && file.flush());
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
    QFile after(path);
    QVERIFY(after.open(QIODevice::ReadOnly));
    QCOMPARE(after.readAll(), before);
    QCOMPARE(QDir(dir.path()).entryList(QDir::Files), QStringList{QStringLiteral("host.ini")});
#else
    QSKIP("there is no limit of file sizes that could play the full disk");
#endif
}

void tst_SupportUtilities::keepsTheCauseOfAnException()
{
    const auto fail = [] {
        const IOException cause(QStringLiteral("no space"));
        throw IOException(QStringLiteral("could not write"), &cause);
    };
    try {
        fail();
        QFAIL("nothing was thrown");
    } catch (const ExceptionQt& error) {
        const ExceptionQt copy(error); // NOLINT(performance-unnecessary-copy-initialization)
        QCOMPARE(copy.message(), QStringLiteral("could not write"));
        QCOMPARE(copy.cause()->message(), QStringLiteral("no space"));
    }
}

void tst_SupportUtilities::reportsFailedConnections()
{
    QTimer timer;
    QVERIFY(zk::connect(&timer, SIGNAL(timeout()), &timer, SLOT(stop()), Qt::AutoConnection));
    QTest::ignoreMessage(QtWarningMsg,
                         QRegularExpression(QStringLiteral("No such slot QTimer::halt")));
    QVERIFY(!zk::connect(&timer, SIGNAL(timeout()), &timer, SLOT(halt()), Qt::AutoConnection));
}

QTEST_MAIN(tst_SupportUtilities)
#include "tst_SupportUtilities.moc"

#ifdef _WIN32
#include <windows.h>
#endif

#include "Environment.h"
#include "StandIn.h"

#include "install/CommandLine.h"
#include "install/ProcessStart.h"
#include "support/FileUtils.h"

#include <QCoreApplication>
#include <QDir>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

using namespace zk;
using test::StandIn;

/** Real processes: what arrives at programs, and what the command interpreter makes of our chain.
 */
class tst_ProcessStart : public QObject
{
    Q_OBJECT

private slots:
    void replacesTheProcess_data();
    void replacesTheProcess();
    void copiesAndLaunches_data();
    void copiesAndLaunches();
};

void tst_ProcessStart::replacesTheProcess_data()
{
    QTest::addColumn<QString>("value");
    const auto row = [](const char* name, const char* value) {
        QTest::newRow(name) << QString::fromUtf8(value);
    };
    row("blanks and signs", R"(C:\a & b (c) ^d 100% %PATH%)");
    row("a backslash at the end", R"(C:\a b\)");
    row("backslashes at the end, nothing to quote", R"(C:\a\\)");
    row("quotes", R"(say "x" and \"y\")");
    row("nothing", "");
    row("other alphabets", "Prøve 测试 \xf0\x9f\x93\xb7");
}

void tst_ProcessStart::replacesTheProcess()
{
    QFETCH(QString, value);
    const QTemporaryDir folder;
    // Without an extension, as UpdateInstaller is.
    const QString program = folder.filePath(QStringLiteral("Prøve & dir/Update Installer"));
    const StandIn standIn(program);
    const QStringList arguments{QStringLiteral("-oldDir"), value, QStringLiteral("-newDir"), value,
                                QStringLiteral("-exe"),    value};
    QProcess host; // this program once more, see main()
    host.setProcessChannelMode(QProcess::ForwardedChannels);
    host.start(QCoreApplication::applicationFilePath(),
               {QStringLiteral("--replace"), program, value});
    QVERIFY(host.waitForFinished());
    QCOMPARE(host.exitCode(), 0);
    QCOMPARE(standIn.arguments(), QStringList{program} + arguments);
}

#ifdef Q_OS_WIN
static bool isWine()
{
    return ::GetProcAddress(::GetModuleHandleW(L"ntdll.dll"), "wine_get_version");
}
#endif

void tst_ProcessStart::copiesAndLaunches_data()
{
    QTest::addColumn<QString>("name");
    const auto row = [](const char* name, const char* folder) {
        QTest::newRow(name) << QString::fromUtf8(folder);
    };
    row("plain", "plain");
    row("blanks", "a b  c");
    row("an ampersand", "a & b&c");
    row("parentheses", "a (b) c)");
    row("carets, commas, semicolons, equals signs", "a^b, c;d=e");
    row("exclamation marks and apostrophes", "a!b!'c");
    row("one percent sign", "50% off");
    row("a variable's name", "%TEMP%");
    row("other alphabets", "Prøve 测试");
    row("all of it", "Prøve & (测试) 50% ^dir");
}

void tst_ProcessStart::copiesAndLaunches()
{
#ifdef Q_OS_WIN
    QFETCH(QString, name);
    if (isWine() && name == QStringLiteral("%TEMP%")) {
        QSKIP("Wine's cmd takes the quotes and carets around percent signs for a part of the name");
    }
    const QTemporaryDir root;
    const QDir top(root.filePath(name));
    const QString unpacked = top.filePath(QStringLiteral("new ") + name);
    const QString installed = top.filePath(QStringLiteral("old ") + name);
    const QString program = QStringLiteral("/bin/View ") + name + QStringLiteral(".exe");
    const StandIn inPackage(unpacked + program);
    QDir().mkpath(installed);
    const auto write = [](const QString& path, const QByteArray& text) {
        QFile file(path);
        return file.open(QIODevice::WriteOnly) && file.write(text) == text.size();
    };
    QVERIFY(write(unpacked + QStringLiteral("/read me"), "new"));
    QVERIFY(write(installed + QStringLiteral("/read me"), "old"));
    QVERIFY(write(installed + QStringLiteral("/settings"), "the user's"));
    QFile::setPermissions(installed + QStringLiteral("/read me"), QFile::ReadOwner);

    const QString interpreter =
        FileUtils::nativePath(QStringLiteral("cmd.exe"), SearchPath{qEnvironmentVariable("PATH")});
    startCopyAndLaunch(interpreter,
                       {QDir::toNativeSeparators(unpacked), QDir::toNativeSeparators(installed),
                        QDir::toNativeSeparators(installed + program)});
    QFile record(installed + program + QStringLiteral(".arguments"));
    QTRY_VERIFY_WITH_TIMEOUT(record.exists(), 20'000);
    QVERIFY(record.open(QIODevice::ReadOnly));
    QCOMPARE(QString::fromUtf8(record.readAll()),
             QDir::toNativeSeparators(installed + program) + QLatin1Char('\n'));
    QFile text(installed + QStringLiteral("/read me"));
    QVERIFY(text.open(QIODevice::ReadOnly));
    QCOMPARE(text.readAll(), QByteArray("new"));
    QVERIFY(QFile::exists(installed + QStringLiteral("/settings")));
    QVERIFY(!QFile::exists(unpacked));
#else
    QSKIP("there is no cmd.exe here");
#endif
}

int main(int argc, char* argv[])
{
    const QCoreApplication application(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    if (arguments.value(1) == QStringLiteral("--replace")) {
        const QString& value = arguments.value(3);
        replaceProcess(arguments.value(2),
                       {QStringLiteral("-oldDir"), value, QStringLiteral("-newDir"), value,
                        QStringLiteral("-exe"), value});
        return 1; // it returned
    }
    tst_ProcessStart tests;
    return QTest::qExec(&tests, argc, argv);
}

#include "tst_ProcessStart.moc"

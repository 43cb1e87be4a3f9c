#include "InstallerRig.h"

#include "updateinstaller/Journal.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QTest>

#ifdef Q_OS_WIN
#include <windows.h>
#else
#include <fcntl.h>
#include <unistd.h>
#endif

using Build = InstallerRig::Build;

namespace {

void writeFile(const QString& path, const QByteArray& contents)
{
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    QCOMPARE(file.write(contents), qint64(contents.size()));
}

updateinstaller::Path path(const QString& text)
{
#ifdef Q_OS_WIN
    return text.toStdWString();
#else
    return QFile::encodeName(text).toStdString();
#endif
}

/** As in the program's log. */
QByteArray native(const QString& path)
{
    return QDir::toNativeSeparators(path).toUtf8();
}

#ifdef Q_OS_WIN
constexpr bool isWindows = true;
#else
constexpr bool isWindows = false;
#endif

/** Wine answers some questions by nothing. */
bool isWine()
{
#ifdef Q_OS_WIN
    return ::GetProcAddress(::GetModuleHandleW(L"ntdll.dll"), "wine_get_version");
#else
    return false;
#endif
}

/** A file or folder of the application that every child of this process inherits. */
class Inherited
{
public:
    explicit Inherited(const QString& path)
    {
#ifdef Q_OS_WIN
        SECURITY_ATTRIBUTES inherited = {sizeof inherited, nullptr, TRUE};
        m_file = ::CreateFileW(reinterpret_cast<const wchar_t*>(path.utf16()), GENERIC_READ,
                               FILE_SHARE_READ | FILE_SHARE_WRITE, &inherited, OPEN_EXISTING,
                               FILE_FLAG_BACKUP_SEMANTICS, nullptr);
        QVERIFY(m_file != INVALID_HANDLE_VALUE);
#else
        const int file = ::open(QFile::encodeName(path).constData(), O_RDONLY | O_CLOEXEC);
        QCOMPARE(::dup2(file, number), number); // without O_CLOEXEC
        ::close(file);
#endif
    }
    ~Inherited()
    {
#ifdef Q_OS_WIN
        ::CloseHandle(m_file);
#else
        ::close(number);
#endif
    }
    Q_DISABLE_COPY(Inherited)

private:
#ifdef Q_OS_WIN
    HANDLE m_file = INVALID_HANDLE_VALUE;
#else
    static constexpr int number = 57;
#endif
};

} // namespace

class tst_UpdateInstaller : public QObject
{
    Q_OBJECT

private slots:
    void init() { m_rig.reset(); }

    void replacesTheFolder_data()
    {
        QTest::addColumn<QString>("subFolder");
        QTest::addColumn<QString>("oldDir");
        QTest::addColumn<QStringList>("more");

        const QString plain = m_rig.application();
        const QString link = m_rig.root() + QStringLiteral("/link");
        QFile::link(m_rig.parent(), link);
        const QString other =
            QStringLiteral("FAULT_OTHER_VOLUME=") + m_rig.root() + QStringLiteral("/tmp");
        QTest::newRow("by the folder itself") << QString() << plain << QStringList();
        QTest::newRow("by its only sub-folder") << "/Camera Desk 4.3" << plain << QStringList();
        QTest::newRow("named with a separator")
            << QString() << plain + QStringLiteral("/") << QStringList();
        QTest::newRow("named through dots")
            << QString() << plain + QStringLiteral("/../Camera & Desk/./") << QStringList();
        QTest::newRow("named through a link")
            << QString() << link + QStringLiteral("/Camera & Desk") << QStringList();
        QTest::newRow("from another volume") << QString() << plain << QStringList{other};
        QTest::newRow("where nothing can be exchanged")
            << QString() << plain << QStringList{QStringLiteral("FAULT_NO_EXCHANGE=1")};
#ifdef Q_OS_WIN
        QTest::newRow("named with backslashes")
            << QString() << QDir::toNativeSeparators(plain) << QStringList();
        QTest::newRow("named in other letters")
            << QString() << m_rig.parent() + QStringLiteral("/CAMERA & DESK") << QStringList();
        QTest::newRow("in the form for long paths")
            << QString() << QStringLiteral(R"(\\?\)") + QDir::toNativeSeparators(plain)
            << QStringList();
        QTest::newRow("with paths longer than 260")
            << QStringLiteral("/") + QString(200, QLatin1Char('x')) << plain << QStringList();
#endif
    }

    void replacesTheFolder()
    {
        QFETCH(QString, subFolder);
        QFETCH(QString, oldDir);
        QFETCH(QStringList, more);
        if (isWindows && !more.isEmpty()) {
            QSKIP("the hook that pretends this sits between program and C library, on Unix alone");
        }
        if (isWindows && oldDir.contains(QStringLiteral("/link/"))) {
            QSKIP("links to folders need a privilege on Windows that tests do not have");
        }
        InstallerRig::makeTree(m_rig.unpacked() + subFolder, "new");

        const QStringList future{QStringLiteral("-locale"), QStringLiteral("de")};
        const auto run =
            m_rig.run(more.isEmpty() ? Build::eReal : Build::eWithFaults,
                      future + InstallerRig::commandLine(oldDir, m_rig.unpacked()), more);
        QVERIFY2(run.code == 0, m_rig.logText().constData());
        checkUpdated();
        QVERIFY(m_rig.logText().contains("unknown option ignored: -locale"));
    }

    void refuses_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<int>("code");

        const QString old = m_rig.application();
        const QString unpacked = m_rig.unpacked();
        const auto row = [](const char* name, const QStringList& arguments, int code) {
            QTest::newRow(name) << arguments << code;
        };
        const auto call = [](const QString& oldDir, const QString& newDir, const char* exe) {
            return InstallerRig::commandLine(oldDir, newDir, QString::fromUtf8(exe));
        };
        row("no arguments", {}, 2);
        row("no new folder", call(old, unpacked, "camera desk").mid(0, 2), 2);
        row("no program", call(old, unpacked, "camera desk").mid(0, 4), 2);
        row("an option without its value", call(old, unpacked, "camera desk").mid(0, 5), 2);
        row("a relative old folder", call(QStringLiteral("Camera & Desk"), unpacked, "camera desk"),
            3);
        row("a relative new folder", call(old, QStringLiteral("unpack 1"), "camera desk"), 3);
        row("a root as the old folder", call(QStringLiteral("/"), unpacked, "camera desk"), 3);
        row("a root in disguise", call(QStringLiteral("/tmp/.."), unpacked, "camera desk"), 3);
        row("a root as the new folder", call(old, QStringLiteral("/"), "camera desk"), 3);
        row("the same folder twice", call(old, old, "camera desk"), 3);
        row("the new folder in the old", call(old, old + QStringLiteral("/lib"), "camera desk"), 3);
        row("the old folder in the new", call(old, m_rig.parent(), "camera desk"), 3);
        row("a program with a path", call(old, unpacked, "lib/../camera desk"), 3);
        row("a program that is a folder above", call(old, unpacked, ".."), 3);
        row("no new folder on the disk", call(old, unpacked + QStringLiteral("x"), "camera desk"),
            13);
        row("no old folder on the disk", call(old + QStringLiteral("x"), unpacked, "camera desk"),
            13);
        row("a file as the new folder",
            call(old, unpacked + QStringLiteral("/camera desk"), "camera desk"), 13);
        row("a program that is not there", call(old, unpacked, "camera desk 2"), 7);
        row("a program that may not be run", call(old, unpacked, "read me"), 7);
        row("two sub-folders", call(old, m_rig.root() + QStringLiteral("/trees"), "camera desk"),
            7);
    }

    void refuses()
    {
        QFETCH(QStringList, arguments);
        QFETCH(int, code);
        if (isWindows && arguments.contains(QStringLiteral("read me"))) {
            QSKIP("Windows has no permission to run a file: it is found out when it is started");
        }
        InstallerRig::makeTree(m_rig.unpacked(), "new");

        const auto run = m_rig.run(Build::eReal, arguments);
        QCOMPARE(run.code, code);
        QCOMPARE(m_rig.treeIn(m_rig.application()), QByteArray("old"));
        QCOMPARE(m_rig.treeIn(m_rig.unpacked()), QByteArray("new"));
        const bool canStart = arguments.contains(m_rig.application()) &&
                              arguments.last() == QStringLiteral("camera desk") &&
                              arguments.size() == 6;
        if (canStart) {
            QCOMPARE(m_rig.startedVersion(), QByteArray("old"));
        }
    }

    void leavesForeignFoldersAlone()
    {
        for (const char* const file : {"backup/file", "journal", "UpdateInstaller.marker/x"}) {
            m_rig.reset();
            InstallerRig::makeTree(m_rig.unpacked(), "new");
            const QString path = m_rig.workFolder() + QLatin1Char('/') + QString::fromUtf8(file);
            QDir().mkpath(QFileInfo(path).path());
            writeFile(path, "precious");
            const QByteArray before = InstallerRig::hashOf(m_rig.workFolder());

            QCOMPARE(m_rig.run(Build::eReal, m_rig.commandLine()).code, 5);
            QCOMPARE(InstallerRig::hashOf(m_rig.workFolder()), before);
            QCOMPARE(m_rig.startedVersion(), QByteArray("old"));
            QCOMPARE(m_rig.treeIn(m_rig.application()), QByteArray("old"));
            QCOMPARE(m_rig.treeIn(m_rig.unpacked()), QByteArray("new"));
        }
    }

    void resolvesWhatItFinds_data()
    {
        QTest::addColumn<QByteArray>("application"); // the tree that is there
        QTest::addColumn<QByteArray>("backup");
        QTest::addColumn<QByteArray>("staged");
        QTest::addColumn<int>("code");
        QTest::addColumn<QByteArray>("result");

        const QByteArray none;
        QTest::newRow("an empty folder made in the gap")
            << QByteArray("empty") << QByteArray("old") << QByteArray("new") << 0
            << QByteArray("new");
        QTest::newRow("a folder made in the gap by a program that writes there")
            << QByteArray("stray") << QByteArray("old") << QByteArray("new") << 0
            << QByteArray("new");
        QTest::newRow("an application installed anew in the gap")
            << QByteArray("third") << QByteArray("old") << QByteArray("new") << 13
            << QByteArray("third");
        QTest::newRow("the new tree lost in the gap")
            << none << QByteArray("old") << none << 13 << QByteArray("old");
        QTest::newRow("the old tree lost in the gap")
            << none << none << QByteArray("new") << 13 << QByteArray("new");
        QTest::newRow("folders exchanged, and numbered anew by the system")
            << QByteArray("new") << none << QByteArray("old") << 13 << QByteArray("new");
        QTest::newRow("folders renamed, and numbered anew by the system")
            << QByteArray("new") << QByteArray("old") << none << 0 << QByteArray("new");
    }

    void resolvesWhatItFinds()
    {
        QFETCH(QByteArray, application);
        QFETCH(QByteArray, backup);
        QFETCH(QByteArray, staged);
        QFETCH(int, code);
        QFETCH(QByteArray, result);
        const auto make = [](const QString& folder, const QByteArray& version) {
            QDir(folder).removeRecursively();
            if (version == "empty" || version == "stray") {
                QDir().mkpath(folder + (version == "stray" ? QStringLiteral("/notes") : QString()));
            } else if (!version.isEmpty()) {
                InstallerRig::makeTree(folder, version);
            }
        };
        make(m_rig.application(), application);
        make(m_rig.workFolder() + QStringLiteral("/backup"), backup);
        make(m_rig.workFolder() + QStringLiteral("/staged"), staged);
        QDir().mkpath(m_rig.workFolder());
        writeFile(m_rig.workFolder() + QStringLiteral("/UpdateInstaller.marker"), "");
        updateinstaller::Journal journal;
        journal.phase = updateinstaller::Journal::Phase::eSwapping;
        journal.newDir = journal.source = path(m_rig.unpacked());
        journal.newDirId = journal.newTreeId = {1, 1, 1};
        journal.oldTreeId = {1, 2, 2};
        writeFile(m_rig.workFolder() + QStringLiteral("/journal"),
                  QByteArray::fromStdString(journal.encode()));

        const auto run = m_rig.run(Build::eReal, m_rig.commandLine());
        QVERIFY2(run.code == code, m_rig.logText().constData());
        QCOMPARE(m_rig.treeIn(m_rig.application()), result);
        QCOMPARE(m_rig.startedVersion(), result);
        const QString aside = QStringLiteral("Camera & Desk.set-aside-1");
        QCOMPARE(m_rig.leftovers(), application == "stray" ? QStringList{aside} : QStringList());
    }

    void goesBackWhenTheNewProgramDoesNotStart()
    {
        InstallerRig::makeTree(m_rig.unpacked(), "broken");
        QCOMPARE(m_rig.run(Build::eReal, m_rig.commandLine()).code, 12);
        checkUntouched();
        QCOMPARE(m_rig.treeIn(m_rig.unpacked()), QByteArray("broken"));
    }

    void checksTheSpaceBeforeItCopies()
    {
        if (isWindows) {
            QSKIP("the hook that pretends a full disk sits between program and C library, on Unix");
        }
        InstallerRig::makeTree(m_rig.unpacked(), "new");
        const QString trace = m_rig.root() + QStringLiteral("/trace");
        const auto run = m_rig.run(
            Build::eWithFaults, m_rig.commandLine(),
            {QStringLiteral("FAULT_OTHER_VOLUME=") + m_rig.root() + QStringLiteral("/tmp"),
             QStringLiteral("FAULT_FREE=16000000"), QStringLiteral("FAULT_TRACE=") + trace});
        QCOMPARE(run.code, 8);
        checkUntouched();
        QFile calls(trace);
        QVERIFY(calls.open(QIODevice::ReadOnly));
        QVERIFY(!calls.readAll().contains("/copying"));
    }

    void waitsForWhoeverHoldsTheFolder_data()
    {
        QTest::addColumn<bool>("isProgram");
        QTest::addColumn<int>("milliseconds");
        QTest::addColumn<int>("patience");
        QTest::addColumn<int>("code");

        QTest::newRow("a file held for a while") << false << 1500 << 20'000 << 0;
        QTest::newRow("a file held for ever") << false << 60'000 << 500 << 10;
        QTest::newRow("a program that runs on for a while") << true << 10'000 << 20'000 << 0;
        QTest::newRow("a program that runs for ever") << true << 60'000 << 500 << 10;
    }

    void waitsForWhoeverHoldsTheFolder()
    {
        QFETCH(bool, isProgram);
        QFETCH(int, milliseconds);
        QFETCH(int, patience);
        QFETCH(int, code);
        InstallerRig::makeTree(m_rig.unpacked(), "new");
        QStringList environment{QStringLiteral("FAULT_PATIENCE_MS=%1").arg(patience)};
        const QString program = m_rig.application() + QStringLiteral("/helper");
        QProcess helper;
        if (isProgram) {
            QVERIFY(QFile::copy(InstallerRig::sleepingProgram(), program));
            helper.start(program, {QString::number(milliseconds / 1000)});
            QVERIFY(helper.waitForStarted());
        } else {
            environment += m_rig.hold(milliseconds);
        }

        QElapsedTimer clock;
        clock.start();
        const auto run = m_rig.run(Build::eWithFaults, m_rig.commandLine(), environment);
        const qint64 elapsed = clock.elapsed();
        const QByteArray holder = "process " + QByteArray::number(helper.processId());
        helper.kill();
        helper.waitForFinished();
        QCOMPARE(run.code, code);
        QVERIFY(elapsed >= qMin(milliseconds * 9 / 10, patience));
        QVERIFY(m_rig.logText().contains("still in use, waiting: " +
                                         (isProgram ? native(program) : QByteArray())));
        if (code == 0) {
            checkUpdated();
            return;
        }
        // Wine's restart manager names nobody.
        QVERIFY2(!isProgram || isWine() || m_rig.logText().contains("it is in use by " + holder),
                 m_rig.logText().constData());
        QCOMPARE(m_rig.startedVersion(), QByteArray("old"));
        QCOMPARE(m_rig.treeIn(m_rig.unpacked()), QByteArray("new"));
        QVERIFY(QFile::remove(program) == isProgram);
        checkUntouched();
    }

    void letsOneRunAtATime()
    {
        InstallerRig::makeTree(m_rig.unpacked(), "new");
        m_rig.start(Build::eWithFaults, m_rig.commandLine(),
                    m_rig.hold(1500) + QStringList{QStringLiteral("FAULT_PATIENCE_MS=20000")});
        QTRY_VERIFY(m_rig.logText().contains("waiting"));

        QCOMPARE(QProcess::execute(m_rig.root() + QStringLiteral("/real"), m_rig.commandLine()), 4);
        QVERIFY(QFile::exists(m_rig.parent() + QStringLiteral("/UpdateInstaller")));
        // On Windows nobody can read all of it: one file is really held.
        QVERIFY(isWindows || m_rig.treeIn(m_rig.application()) == "old");

        QCOMPARE(m_rig.finish().code, 0);
        checkUpdated();
    }

    void closesWhatItInherits()
    {
        InstallerRig::makeTree(m_rig.unpacked(), "new");
#ifndef Q_OS_WIN
        const QString program = m_rig.unpacked() + QStringLiteral("/camera desk");
        writeFile(program,
                  "#!/bin/sh\nf=\"57 $(readlink /proc/$$/fd/57)\"; echo \"$f\" >\"$REPORT\"\n");
#endif
        {
            const Inherited file(m_rig.application() + QStringLiteral("/lib/libä.so"));
            m_rig.start(Build::eWithFaults, m_rig.commandLine());
        }
        QCOMPARE(m_rig.finish().code, 0);
#ifdef Q_OS_WIN
        checkUpdated(); // which would wait for ever for a file that it holds itself
#else
        QCOMPARE(m_rig.started(), QByteArray("57 "));
#endif
    }

    void keepsProgramsThatAreNotItsCopy()
    {
        InstallerRig::makeTree(m_rig.unpacked(), "new");
        const QString copy = m_rig.parent() + QStringLiteral("/UpdateInstaller");
        writeFile(copy, "not the one that runs");
        qputenv("REPORT", isWindows ? "NUL" : "/dev/null");
        QCOMPARE(QProcess::execute(m_rig.root() + QStringLiteral("/real"), m_rig.commandLine()), 0);
        QCOMPARE(m_rig.treeIn(m_rig.application()), QByteArray("new"));
        QVERIFY(QFile::exists(copy));
        QVERIFY(QFile::exists(m_rig.root() + QStringLiteral("/real")));
    }

    void rotatesItsLog()
    {
        const QByteArray full(1 << 20, 'x');
        InstallerRig::makeTree(m_rig.unpacked(), "new");
        writeFile(m_rig.log(), full);
        QCOMPARE(m_rig.run(Build::eReal, m_rig.commandLine()).code, 0);
        QVERIFY(m_rig.logText().contains("finished with code 0"));
        QVERIFY(m_rig.logText().size() < 4096);
        QFile previous(m_rig.log() + QStringLiteral(".1"));
        QVERIFY(previous.open(QIODevice::ReadOnly));
        QVERIFY(previous.readAll().startsWith(full));
    }

    void journalComesBackAsItWas()
    {
        updateinstaller::Journal journal;
        journal.phase = updateinstaller::Journal::Phase::eSwapping;
#ifdef Q_OS_WIN
        journal.newDir = LR"(C:\tmp\100% =end)"
                         L"\n\x6d4b\x8bd5";
#else
        journal.newDir = "/tmp/100% \n=end\xff/测试";
#endif
        journal.source = "/tmp/%41;";
        journal.oldTreeId = {1, 0xffffffffffffffff, 3};
        const auto read = updateinstaller::Journal::decode(journal.encode());
        QVERIFY(read);
        QVERIFY(read->phase == journal.phase);
        QVERIFY(read->newDir == journal.newDir);
        QVERIFY(read->source == journal.source);
        QVERIFY(isSame(read->oldTreeId, journal.oldTreeId));
        QVERIFY(!isSame(read->newTreeId, journal.newTreeId)); // unknown is never the same

        const std::string text = journal.encode();
        for (std::size_t length = 0; length + 1 < text.size(); ++length) {
            QVERIFY(!updateinstaller::Journal::decode(text.substr(0, length)));
        }
    }

private:
    void checkUpdated()
    {
        const QByteArray folder = m_rig.application().toUtf8();
        QCOMPARE(m_rig.started(), "new|" + folder + "/camera desk|" + folder + "|0");
        QCOMPARE(m_rig.treeIn(m_rig.application()), QByteArray("new"));
        QCOMPARE(m_rig.leftovers(), QStringList());
        QVERIFY(!QFile::exists(m_rig.unpacked()));
    }

    void checkUntouched()
    {
        const QByteArray started = m_rig.started();
        QVERIFY2(started.startsWith("old|"), (started + '\n' + m_rig.logText()).constData());
        QCOMPARE(m_rig.treeIn(m_rig.application()), QByteArray("old"));
        QCOMPARE(m_rig.leftovers(), QStringList());
    }

    InstallerRig m_rig;
};

QTEST_GUILESS_MAIN(tst_UpdateInstaller)
#include "tst_UpdateInstaller.moc"

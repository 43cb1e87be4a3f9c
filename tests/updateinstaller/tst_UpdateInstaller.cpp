#include "InstallerRig.h"

#include "Environment.h"
#include "Files.h"
#include "Rows.h"

#include "updateinstaller/FolderSwap.h"
#include "updateinstaller/Journal.h"

#include <filesystem>

#include <fcntl.h>
#ifdef Q_OS_WIN
#include <io.h>
#else
#include <csignal>
#include <unistd.h>
#endif

namespace fs = std::filesystem;
using namespace zk::test;
using Build = InstallerRig::Build;

namespace {

#ifdef Q_OS_WIN
constexpr bool isWindows = true;
#else
constexpr bool isWindows = false;
#endif

} // namespace

class tst_UpdateInstaller : public QObject
{
    Q_OBJECT

private slots:
    void init() { m_rig.reset(); }

    void replacesTheFolder_data()
    {
        columns<QString, QString>("subFolder", "oldDir");
        const QString plain = m_rig.application();
        row("by the folder itself", "", plain);
        row("by its only sub-folder, with paths longer than 260", u'/' + QString(200, u'x'), plain);
        row("named through dots", "", plain + u"/../Camera & Desk/./"_s);
#ifdef Q_OS_WIN
        row("named with backslashes", "", QDir::toNativeSeparators(plain));
        row("named in other letters", "", m_rig.parent() + u"/CAMERA & DESK"_s);
        row("in the form for long paths", "", u"\\\\?\\"_s + QDir::toNativeSeparators(plain));
#else
        // On Windows they need a privilege that tests do not have.
        const QString link = m_rig.root() + u"/link"_s;
        QFile::link(m_rig.parent(), link);
        row("named through a link", "", link + u"/Camera & Desk"_s);
#endif
    }

    void replacesTheFolder()
    {
        QFETCH(QString, subFolder);
        QFETCH(QString, oldDir);
        InstallerRig::makeTree(m_rig.unpacked() + subFolder, "new");

        const QStringList future{u"-locale"_s, u"de"_s};
        const auto run =
            m_rig.run(Build::eReal, future + InstallerRig::commandLine(oldDir, m_rig.unpacked()));
        QVERIFY2(run.code == 0, m_rig.logText().constData());
        checkUpdated();
        QVERIFY(m_rig.logText().contains("unknown option ignored: -locale"));
    }

    void refuses_data()
    {
        columns<QStringList, int, QString>("arguments", "code", "foreign");
        const QString old = m_rig.application();
        const QString unpacked = m_rig.unpacked();
        const auto refused = [](const char* name, int code, const QString& oldDir,
                                const QString& newDir, const char* exe = "camera desk") {
            row(name, InstallerRig::commandLine(oldDir, newDir, QString::fromUtf8(exe)), code, "");
        };
        const QStringList all = InstallerRig::commandLine(old, unpacked);
        row("no arguments", QStringList(), 2, "");
        row("no new folder", QStringList(all.mid(0, 2)), 2, "");
        row("an option without its value", QStringList(all.mid(0, 5)), 2, "");
        refused("a relative old folder", 3, u"Camera & Desk"_s, unpacked);
        refused("a root in disguise", 3, u"/tmp/.."_s, unpacked);
        refused("a root as the new folder", 3, old, u"/"_s);
        refused("the new folder in the old", 3, old, old + u"/lib"_s);
        refused("the old folder in the new", 3, old, m_rig.parent());
        refused("a program with a path", 3, old, unpacked, "lib/../camera desk");
        refused("a program that is a folder above", 3, old, unpacked, "..");
        refused("no new folder on the disk", 13, old, unpacked + u"x"_s);
        refused("no old folder on the disk", 13, old + u"x"_s, unpacked);
        refused("a file as the new folder", 13, old, unpacked + u"/camera desk"_s);
        refused("a program that is not there", 7, old, unpacked, "camera desk 2");
        refused("two sub-folders", 7, old, m_rig.root() + u"/trees"_s);
        row("somebody's folder", all, 5, "backup/file");
        row("somebody's file", all, 5, "journal");
        row("somebody's marker, a folder", all, 5, "UpdateInstaller.marker/x");
#ifndef Q_OS_WIN
        refused("a program that may not be run", 7, old, unpacked, "read me");
#endif
    }

    void refuses()
    {
        QFETCH(QStringList, arguments);
        QFETCH(QString, foreign); // in the place of the folder to work in
        InstallerRig::makeTree(m_rig.unpacked(), "new");
        if (!foreign.isEmpty()) {
            const QString path = m_rig.workFolder() + u'/' + foreign;
            QDir().mkpath(QFileInfo(path).path());
            writeFile(path, "precious");
        }
        const QByteArray before = InstallerRig::contentsOf(m_rig.workFolder());

        QTEST(m_rig.run(Build::eReal, arguments).code, "code");
        QCOMPARE(InstallerRig::contentsOf(m_rig.workFolder()), before);
        QCOMPARE(m_rig.treeIn(m_rig.application()), QByteArray("old"));
        QCOMPARE(m_rig.treeIn(m_rig.unpacked()), QByteArray("new"));
        const bool canStart = arguments.contains(m_rig.application()) &&
                              arguments.last() == u"camera desk"_s && arguments.size() == 6;
        if (canStart) {
            QCOMPARE(m_rig.startedVersion(), QByteArray("old"));
        }
    }

    void resolvesWhatItFinds_data()
    {
        columns<QString, QString, QString, QString, int, QString>(
            "application", "backup", "staged", "unpacked", "code", "result"); // trees
        row("an empty folder made in the gap", "empty", "old", "new", "", 0, "new");
        row("a folder made in the gap, with something in it", "stray", "old", "new", "", 0, "new");
        row("an application installed anew in the gap", "third", "old", "new", "", 13, "third");
        row("the new tree lost in the gap", "", "old", "", "", 13, "old");
        row("the old tree lost in the gap", "", "", "new", "", 13, "new");
        row("folders exchanged, and numbered anew by the system", "new", "", "old", "", 13, "new");
        row("folders renamed, and numbered anew by the system", "new", "old", "", "", 0, "new");
        row("another update unpacked where the last was", "new", "old", "", "third", 0, "third");
    }

    void resolvesWhatItFinds()
    {
        QFETCH(QString, application);
        QFETCH(QString, backup);
        QFETCH(QString, staged);
        QFETCH(QString, unpacked);
        QFETCH(int, code);
        QFETCH(QString, result);
        const auto make = [](const QString& folder, const QString& version) {
            QDir(folder).removeRecursively();
            if (version == u"empty"_s) {
                QDir().mkpath(folder);
            } else if (version == u"stray"_s) {
                QDir().mkpath(folder + u"/notes"_s);
            } else if (!version.isEmpty()) {
                InstallerRig::makeTree(folder, version.toLatin1());
            }
        };
        make(m_rig.application(), application);
        make(m_rig.workFolder() + u"/backup"_s, backup);
        make(m_rig.workFolder() + u"/staged"_s, staged);
        make(m_rig.unpacked(), unpacked);
        QDir().mkpath(m_rig.workFolder());
        writeFile(m_rig.workFolder() + u"/UpdateInstaller.marker"_s, "");
        updateinstaller::Journal journal;
        journal.phase = updateinstaller::Journal::Phase::eSwapping;
        journal.newDir = journal.source = fs::u8path(m_rig.unpacked().toStdString());
        journal.newDirId = journal.newTreeId = {1, 1, 1};
        journal.oldTreeId = {1, 2, 2};
        writeFile(m_rig.workFolder() + u"/journal"_s, QByteArray::fromStdString(journal.encode()));

        const auto run = m_rig.run(Build::eReal, m_rig.commandLine());
        QVERIFY2(run.code == code, m_rig.logText().constData());
        QCOMPARE(m_rig.treeIn(m_rig.application()), result.toLatin1());
        QCOMPARE(m_rig.startedVersion(), result.toLatin1());
        const QStringList aside{u"Camera & Desk.set-aside-1"_s};
        QCOMPARE(m_rig.leftovers(), application == u"stray"_s ? aside : QStringList());
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
        const QString trace = m_rig.root() + u"/trace"_s;
        const auto run = m_rig.run(Build::eWithFaults, m_rig.commandLine(),
                                   {u"FAULT_OTHER_VOLUME="_s + m_rig.root() + u"/tmp"_s,
                                    u"FAULT_FREE=16000000"_s, u"FAULT_TRACE="_s + trace});
        QCOMPARE(run.code, 8);
        checkUntouched();
        const QByteArray calls = readFile(trace);
        QVERIFY(!calls.isEmpty() && !calls.contains("/copying"));
    }

    void waitsForWhoeverHoldsTheFolder_data()
    {
        columns<bool, int, int, int>("isProgram", "milliseconds", "patience", "code");
        row("a file held for a while", false, 1500, 20'000, 0);
        row("a file held for ever", false, 60'000, 500, 10);
        row("a program that runs on for a while", true, 10'000, 20'000, 0);
        row("a program that runs for ever", true, 60'000, 500, 10);
    }

    void waitsForWhoeverHoldsTheFolder()
    {
        QFETCH(bool, isProgram);
        QFETCH(int, milliseconds);
        QFETCH(int, patience);
        QFETCH(int, code);
        InstallerRig::makeTree(m_rig.unpacked(), "new");
        QStringList environment{u"FAULT_PATIENCE_MS=%1"_s.arg(patience)};
        const QString program = m_rig.application() + u"/helper"_s;
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
        const QString held = isProgram ? QDir::toNativeSeparators(program) : QString();
        QVERIFY(m_rig.logText().contains("still in use, waiting: " + held.toUtf8()));
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
                    m_rig.hold(1500) + QStringList{u"FAULT_PATIENCE_MS=20000"_s});
        QTRY_VERIFY(m_rig.logText().contains("waiting"));
        QVERIFY(updateinstaller::Patience().heldFolder >= std::chrono::seconds(30));
#ifndef Q_OS_WIN
        ::kill(pid_t(m_rig.processId()), SIGHUP); // the terminal it was started from is closed
#endif

        QCOMPARE(QProcess::execute(m_rig.root() + u"/real"_s, m_rig.commandLine()), 4);
        QVERIFY(QFile::exists(m_rig.parent() + u"/UpdateInstaller"_s));
        // On Windows nobody can read all of it: one file is really held.
        QVERIFY(isWindows || m_rig.treeIn(m_rig.application()) == "old");

        QCOMPARE(m_rig.finish().code, 0);
        checkUpdated();
    }

    void closesWhatItInherits()
    {
        InstallerRig::makeTree(m_rig.unpacked(), "new");
        const QString library = m_rig.application() + u"/lib/libä.so"_s;
        QFile held;
#ifdef Q_OS_WIN
        // Children inherit what is opened like this.
        QVERIFY(held.open(::_wopen(library.toStdWString().c_str(), _O_RDONLY), QIODevice::ReadOnly,
                          QFile::AutoCloseHandle));
#else
        const int file = ::open(QFile::encodeName(library).constData(), O_RDONLY | O_CLOEXEC);
        QVERIFY(held.open(::dup2(file, 57), QIODevice::ReadOnly, QFile::AutoCloseHandle));
        ::close(file);
        writeFile(m_rig.unpacked() + u"/camera desk"_s,
                  "#!/bin/sh\nf=\"57 $(readlink /proc/$$/fd/57)\"\n"
                  "f=\"$f $(sed -n 's/^SigIgn:.*[02468ace]$/hangs up/p' /proc/$$/status)\"\n"
                  "echo \"$f\" >\"$REPORT\"\n");
#endif
        m_rig.start(Build::eWithFaults, m_rig.commandLine());
        held.close();
        QCOMPARE(m_rig.finish().code, 0);
#ifdef Q_OS_WIN
        checkUpdated(); // which would wait for ever for a file that it holds itself
#else
        QCOMPARE(m_rig.started(), QByteArray("57  hangs up"));
#endif
    }

    void keepsProgramsThatAreNotItsCopy()
    {
        InstallerRig::makeTree(m_rig.unpacked(), "new");
        const QString copy = m_rig.parent() + u"/UpdateInstaller"_s;
        writeFile(copy, "not the one that runs");
        qputenv("REPORT", isWindows ? "NUL" : "/dev/null");
        QCOMPARE(QProcess::execute(m_rig.root() + u"/real"_s, m_rig.commandLine()), 0);
        QCOMPARE(m_rig.treeIn(m_rig.application()), QByteArray("new"));
        QVERIFY(QFile::exists(copy));
        QVERIFY(QFile::exists(m_rig.root() + u"/real"_s));
    }

    void rotatesItsLog()
    {
        const QByteArray full(1 << 20, 'x');
        InstallerRig::makeTree(m_rig.unpacked(), "new");
        writeFile(m_rig.log(), full);
        QCOMPARE(m_rig.run(Build::eReal, m_rig.commandLine()).code, 0);
        QVERIFY(m_rig.logText().contains("finished with code 0"));
        QVERIFY(m_rig.logText().size() < 4096);
        QVERIFY(readFile(m_rig.log() + u".1"_s).startsWith(full));
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

#pragma once

#include "tests/support/Literals.h"

#include <QByteArray>
#include <QElapsedTimer>
#include <QHash>
#include <QProcess>
#include <QStringList>
#include <QTemporaryDir>

/**
 * An application folder with an update waiting for it, and UpdateInstaller run on them as a real
 * process.
 *
 * The folders have the names that users give theirs. An installed "program" writes down its version
 * and how it was called: a script, or InstalledProgram.cpp on Windows. Where the machine has a
 * folder in memory, everything lies there.
 */
class InstallerRig
{
public:
    struct Run
    {
        int code = -1; //!< exit code; -1 for a process that was killed
        bool wasKilled = false;
    };

    InstallerRig();
    ~InstallerRig() { letGo(); }

    /** Removes everything, and makes an application folder with the tree "old" in it. */
    void reset() const;

    QString root() const { return m_dir.path(); }
    QString parent() const { return root() + u"/Prøve & 测试 (100%)"_s; }
    QString application() const { return parent() + u"/Camera & Desk"_s; }
    QString workFolder() const;
    QString log() const { return parent() + u"/UpdateInstaller.log"_s; }
    QString unpacked() const { return root() + u"/tmp/unpack 1"_s; }

    /** A tree that differs from others in every file; the program of "broken" cannot start. */
    static void makeTree(const QString& folder, const QByteArray& version);
    /** Names, kinds, permissions, times and contents of all that is in the folder. */
    static QByteArray contentsOf(const QString& folder);
    /** The version whose tree this is, byte by byte; empty for anything else. */
    QByteArray treeIn(const QString& folder) const;

    static QStringList commandLine(const QString& oldDir, const QString& newDir,
                                   const QString& exe = u"camera desk"_s);
    QStringList commandLine() const { return commandLine(application(), unpacked()); }

    enum class Build { eReal, eWithFaults };
    /** Runs a copy of the program in parent(), as hosts do; @p environment: see FaultHook.cpp. */
    Run run(Build build, const QStringList& arguments, const QStringList& environment = {});
    /** The program, started but not waited for; finish() does that. */
    void start(Build build, const QStringList& arguments, const QStringList& environment = {});
    Run finish();
    qint64 processId() const { return m_process.processId(); }

    /**
     * Has the next run find a file of the application in use, for so long or until it ends. Answers
     * what belongs into the run's environment for that.
     */
    QStringList hold(int milliseconds);
    /** A program that does nothing for as many seconds as its argument says. */
    static QString sleepingProgram();

    /**
     * What the first program started by the last run wrote: version, path, working folder and
     * number of arguments, separated by "|". Waits for it; empty when nothing was started in time.
     */
    QByteArray started() const;
    QByteArray startedVersion() const { return started().split('|').first(); }

    /** What is in parent() beside the application folder and the log. */
    QStringList leftovers() const;
    QByteArray logText() const;

private:
    static QString placeForFiles();
    /** The contents of a program that reports, or cannot be started. */
    static QByteArray program(const QByteArray& version);
    static void copyProgram(const QString& from, const QString& to);
    void letGo();

    QTemporaryDir m_dir;
    QHash<QByteArray, QByteArray> m_versions; //!< by all that is in the tree
    QString m_report;
    QProcess m_process;
    int m_runs = 0;
    void* m_heldFile = nullptr; //!< on Windows, where a file can be held
    QElapsedTimer m_holding;
    int m_holdFor = 0;
};

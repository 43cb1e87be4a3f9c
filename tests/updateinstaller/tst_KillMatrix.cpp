#include "InstallerRig.h"

#include "Files.h"
#include "Rows.h"

#include <QDir>

#include <cerrno>

using namespace zk::test;
using Build = InstallerRig::Build;

/**
 * UpdateInstaller is killed before and after every call that changes the disk, and each call fails
 * once. After each, the application is whole and starts, at the latest after the next run.
 */
class tst_KillMatrix : public QObject
{
    Q_OBJECT

private slots:
    /** In this order a power cut at any time leaves a whole tree and a journal that fits. */
    void flushesEachStepBeforeTheNext()
    {
        const Scenario plain{{}, "new", m_rig.unpacked(), {}};
        prepare(plain);
        QStringList steps;
        const auto calls = trace(plain);
        for (const QByteArray& call : calls) {
            const QString text = QString::fromUtf8(call);
            const QString name = text.section(u' ', 1, 1);
            if (lines("rename\nexchange\nfsync\nsyncfs").contains(name)) {
                steps << name + u' ' + text.section(u'/', -1);
            }
        }
        const auto names = lines("fsync Camera & Desk.UpdateInstaller\nfsync Prøve & 测试 (100%)");
        const QStringList journal = lines("fsync journal.new\nrename journal") + names.mid(0, 1);
        const QStringList expected = lines("fsync UpdateInstaller.marker") + names + journal +
                                     lines("rename staged\nsyncfs staged") + names.mid(0, 1) +
                                     journal + lines("exchange Camera & Desk") + names + journal;
        QCOMPARE(QStringList(steps.mid(0, expected.size())), expected);
    }

    void everyCallInTurn_data()
    {
        columns<QStringList, QString, QString, QString>("environment", "version", "subFolder",
                                                        "killedAt");
        const QStringList none;
        const QStringList renames{u"FAULT_NO_EXCHANGE=1"_s};
        const QStringList copies{u"FAULT_OTHER_VOLUME="_s + m_rig.root() + u"/tmp"_s};
        const char* const sub = "/Camera Desk 4.3";
        row("exchange", none, "new", "", "");
        row("two renames", renames, "new", "", "");
        row("copy, two renames", copies + renames, "new", sub, "");
        row("new program does not start, exchange", none, "broken", sub, "");
        row("new program does not start, two renames", renames, "broken", "", "");
        row("after a kill in the middle of staging", none, "new", sub, "/staged");
        row("after a kill between the two renames", renames, "new", "", "/backup");
        row("after a kill right after the exchange", none, "new", sub, "exchange ");
        row("after a kill while tidying up", copies, "new", "", "/tmp/unpack 1/lib/deep/");
    }

    void everyCallInTurn()
    {
        QFETCH(QStringList, environment);
        QFETCH(QString, version);
        QFETCH(QString, subFolder);
        QFETCH(QString, killedAt);
        const Scenario scenario{environment, version.toLatin1(), m_rig.unpacked() + subFolder,
                                killedAt};

        prepare(scenario);
        const auto calls = trace(scenario);
        QVERIFY2(calls.size() > 20, calls.join('\n').constData());
        const QByteArray expected = scenario.version == "broken" ? "old" : "new";
        QCOMPARE(m_rig.startedVersion(), expected);
        QCOMPARE(m_rig.treeIn(m_rig.application()), expected);
        QCOMPARE(m_rig.leftovers(), QStringList());
        for (int point = 1; point <= calls.size(); point += stride) {
            for (const QByteArray& kind :
                 {QByteArray("before"), QByteArray("after"), QByteArray::number(EACCES),
                  QByteArray::number(ENOSPC), QByteArray::number(EXDEV)}) {
                ++m_cases;
                const bool isError = kind.toInt() != 0;
                isError ? checkFailed(scenario, point, kind, calls[point - 1])
                        : checkKilled(scenario, point, kind);
                if (QTest::currentTestFailed()) {
                    qInfo("%s: %s", kind.constData(), calls[point - 1].constData());
                    return;
                }
            }
        }
    }

    void cleanupTestCase() const { qInfo("%d faults", m_cases); }

private:
    static constexpr int stride = INSTALLER_MATRIX_STRIDE;

    struct Scenario
    {
        QStringList environment;
        QByteArray version; // of the new tree
        QString treeFolder; // where it is unpacked
        QString killedAt;   // what an earlier run was doing when it was killed
    };

    void prepare(const Scenario& scenario)
    {
        m_rig.reset();
        InstallerRig::makeTree(scenario.treeFolder, scenario.version);
        if (!scenario.killedAt.isEmpty()) {
            const QStringList fault{u"FAULT_AT="_s + scenario.killedAt, u"FAULT_KIND=after"_s};
            QVERIFY(m_rig.run(Build::eWithFaults, m_rig.commandLine(), scenario.environment + fault)
                        .wasKilled);
        }
    }

    InstallerRig::Run runWith(const Scenario& scenario, int point, const QByteArray& kind)
    {
        const QStringList fault{u"FAULT_POINT=%1"_s.arg(point),
                                u"FAULT_KIND="_s + QString::fromLatin1(kind)};
        return m_rig.run(Build::eWithFaults, m_rig.commandLine(), scenario.environment + fault);
    }

    QList<QByteArray> trace(const Scenario& scenario)
    {
        const QString file = m_rig.root() + u"/trace"_s;
        QFile::remove(file);
        m_rig.run(Build::eWithFaults, m_rig.commandLine(),
                  scenario.environment + QStringList{u"FAULT_TRACE="_s + file});
        return readFile(file).trimmed().split('\n');
    }

    void checkKilled(const Scenario& scenario, int point, const QByteArray& kind)
    {
        prepare(scenario);
        QVERIFY(runWith(scenario, point, kind).wasKilled);
        checkRepairBySameRequest(scenario);
        if (QTest::currentTestFailed()) {
            return;
        }
        prepare(scenario);
        QVERIFY(runWith(scenario, point, kind).wasKilled);
        checkRepairByOtherRequest();
    }

    /** A run that could go on has left everything in order by itself, or leaves it to the next. */
    void checkFailed(const Scenario& scenario, int point, const QByteArray& kind,
                     const QByteArray& call)
    {
        prepare(scenario);
        const auto run = runWith(scenario, point, kind);
        if (kind.toInt() == EACCES && call.endsWith(m_rig.application().toUtf8()) &&
            !call.contains("fsync")) {
            // As a virus scanner does it: the next try succeeds.
            QVERIFY2(run.code == (scenario.version == "broken" ? 12 : 0),
                     m_rig.logText().constData());
        }
        QVERIFY(!run.wasKilled);
        if (run.code == 14 && scenario.killedAt.endsWith(u"/backup"_s)) {
            // Without its lock the program cannot mend what the killed run has left.
            QVERIFY(!QFile::exists(m_rig.application()));
            checkRepairByOtherRequest();
            return;
        }
        const QByteArray tree = m_rig.treeIn(m_rig.application());
        QVERIFY2(tree == "old" || tree == "new", m_rig.logText().constData());
        QCOMPARE(m_rig.startedVersion(), tree);
        QVERIFY2(run.code != 0 || tree == "new", m_rig.logText().constData());
        checkRepairByOtherRequest();
    }

    void checkRepairBySameRequest(const Scenario& scenario)
    {
        const bool wasPending = QFile::exists(m_rig.workFolder() + u"/journal"_s);
        const auto run = m_rig.run(Build::eReal, m_rig.commandLine());
        const QByteArray tree = m_rig.treeIn(m_rig.application());
        const QByteArray log = m_rig.logText();
        QVERIFY2(tree == "old" || tree == "new", log.constData());
        // Only an update that was complete but for its last traces finds nothing to do.
        const bool isFine = run.code == 0 || (run.code == 13 && !wasPending) ||
                            (run.code == 12 && scenario.version == "broken");
        QVERIFY2(isFine, log.constData());
        QVERIFY2(tree == (scenario.version == "broken" ? "old" : "new"), log.constData());
        QCOMPARE(m_rig.startedVersion(), tree);
        QVERIFY2(m_rig.leftovers().isEmpty(), log.constData());
        const bool isUnpacked = QFile::exists(m_rig.unpacked());
        QCOMPARE(isUnpacked, scenario.version == "broken");
        QVERIFY(!isUnpacked || m_rig.treeIn(scenario.treeFolder) == "broken");
    }

    void checkRepairByOtherRequest()
    {
        const QString other = m_rig.root() + u"/tmp/unpack 2"_s;
        InstallerRig::makeTree(other, "third");
        const auto run =
            m_rig.run(Build::eReal, InstallerRig::commandLine(m_rig.application(), other));
        const QByteArray log = m_rig.logText();
        QVERIFY2(run.code == 0, log.constData());
        QCOMPARE(m_rig.treeIn(m_rig.application()), QByteArray("third"));
        QCOMPARE(m_rig.startedVersion(), QByteArray("third"));
        QVERIFY2(m_rig.leftovers().isEmpty(), log.constData());
        QVERIFY(!QFile::exists(other));
    }

    InstallerRig m_rig;
    int m_cases = 0;
};

QTEST_GUILESS_MAIN(tst_KillMatrix)
#include "tst_KillMatrix.moc"

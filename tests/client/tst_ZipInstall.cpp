#include "ClientFixture.h"
#include "DialogRobot.h"
#include "Environment.h"
#include "LogCapture.h"
#include "MessageFilter.h"
#include "StandIn.h"
#include "ZipBuilder.h"

#include <QApplication>
#include <QDir>
#include <QDirIterator>
#include <QProcess>
#include <QProgressDialog>
#include <QPushButton>
#include <QTemporaryDir>
#include <QTest>
#include <QTextStream>

using namespace zk;
using test::StandIn;

class tst_ZipInstall : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { test::dropOffscreenSizeHintLine(); }
    void handsOverToTheInstaller_data();
    void handsOverToTheInstaller();
    void saysWhenTheInstallerDoesNotStart_data();
    void saysWhenTheInstallerDoesNotStart();
    void leavesTheTreeForLater();
    void handsNothingOverWithoutATree();
    void leavesNothingOfABadArchive();
    void handsOverTheNewestTreeOnly();
    void closesTheProgressForGood();
    void letsTheUserStopWaiting();
    void survivesWhatGoesMeanwhile_data();
    void survivesWhatGoesMeanwhile();
};

namespace {

/** Takes some time to unpack, and little to download. */
constexpr int slowSize = 50'000'000;
const auto restart = QStringLiteral("Please restart");
const auto now = QStringLiteral("Restart now");
const auto later = QStringLiteral("Restart later");
const auto failed = QStringLiteral("Installation failed: Installation process failed. If problem "
                                   "persists try manual install.");

/**
 * A user who installs a zip package, in a temporary folder of its own. Cleans up the download
 * managers, which the client leaves alive.
 */
struct Host : QObject
{
    test::ClientFixture fixture;
    test::LogCapture log;
    test::DialogRobot robot;
    QTemporaryDir temporary;
    test::ScopedTemporaryFolder temporaryFolder{temporary.path()};
    QObjectList managers;
    /** Called when the dialog for waiting is shown. */
    std::function<void(QProgressDialog&)> whileWaiting;

    Host()
    {
        qApp->installEventFilter(this);
        robot.press(QStringLiteral("ask you to restart"), QStringLiteral("Proceed"));
        robot.press(QStringLiteral("Installation process"), QStringLiteral("OK"));
        robot.press(QStringLiteral("could not be unpacked"), QStringLiteral("OK"));
        fixture.settings.values[AppSettings::UpdatePackageSuffixes] = QString();
    }
    ~Host() override
    {
        SoftwareUpdateClient::deleteInstance();
        QCoreApplication::processEvents();
        qDeleteAll(managers);
    }
    Host(const Host&) = delete;
    Host& operator=(const Host&) = delete;

    static QByteArray archive(const QByteArray& name, int size = 10)
    {
        return test::ZipBuilder().add(name, QByteArray(size, 'x')).bytes();
    }

    /** Downloads @p zip and goes on until the host is idle or has been replaced. */
    void install(const QByteArray& zip)
    {
        fixture.server.answer("/update.zip", test::http(200, zip));
        fixture.server.answer(
            "/doc.xml",
            test::http(200, test::document(test::packageElement(
                                "4.3", fixture.server.url("/update.zip").toEncoded()))));
        fixture.check();
        QTRY_VERIFY(!fixture.isChecking());
        const int boxes = robot.seen().size();
        QMetaObject::invokeMethod(fixture.client, "installPackage", Q_ARG(int, 0));
        QTRY_VERIFY(robot.seen().size() >= boxes + 2);
    }

    [[nodiscard]] QStringList files() const
    {
        QStringList found;
        QDirIterator it(temporary.path(), QDir::Files | QDir::Hidden, QDirIterator::Subdirectories);
        while (it.hasNext()) {
            it.next();
            found << it.fileName();
        }
        return found;
    }
    [[nodiscard]] bool hasLogged(Log::ELevel level, const QString& text) const
    {
        return !log.lines(level).filter(text).isEmpty();
    }

    bool eventFilter(QObject* object, QEvent* event) override
    {
        if (object->inherits("zk::Unzipper") && !managers.contains(object->parent())) {
            managers << object->parent();
        }
        // Not earlier: events come to unfinished dialogs as well.
        auto* const dialog =
            event->type() == QEvent::Show ? qobject_cast<QProgressDialog*>(object) : nullptr;
        if (dialog && dialog->maximum() == 0 && whileWaiting) {
            whileWaiting(*dialog);
        }
        return QObject::eventFilter(object, event);
    }
};

/** What a copy of this program does in place of the tests: installs, and says what it saw. */
int runHost()
{
    Host host;
    const auto tidyUp = [&host] {
        const QStringList tree{QStringLiteral("new program")};
        (void)QTest::qWaitFor([&host, tree] { return host.files() == tree; });
        QDir(host.temporary.path()).removeRecursively();
    };
    const bool isTidy = QCoreApplication::arguments().contains(QStringLiteral("--tidy"));
    host.robot.act(restart, isTidy ? tidyUp : std::function<void()>(), now);
    host.install(Host::archive("new program"));
    (void)QTest::qWaitFor([&host] { return host.robot.seen().size() >= 3; });
    QTextStream out(stdout);
    out.setCodec("UTF-8");
    out << host.robot.seen().join(QLatin1Char('\n')) << '\n'
        << host.log.lines(Log::eInfo).join(QLatin1Char('\n')) << '\n'
        << host.log.lines(Log::eError).join(QLatin1Char('\n')) << '\n';
    return 0;
}

/** An application folder with a copy of this program, below a folder with a name to be afraid of.
 */
struct Installation
{
    QTemporaryDir root;
    QString parent = root.filePath(QStringLiteral("Prøve & 测试 dir"));
    QString folder = parent + QStringLiteral("/Camera \"Desk\" app");
    QString program;
    QString output;

    Installation()
    {
#ifdef Q_OS_WIN
        folder.remove(QLatin1Char('"'));
#endif
        QDir().mkpath(folder);
        const QFileInfo self(QCoreApplication::applicationFilePath());
        program = folder + QLatin1Char('/') + self.fileName();
        QFile::copy(self.filePath(), program);
    }
    [[nodiscard]] QString temporary() const
    {
        return root.filePath(QStringLiteral("tmp"));
    }
    [[nodiscard]] QString inFolder() const
    {
        return folder + QStringLiteral("/UpdateInstaller");
    }
    [[nodiscard]] QString inParent() const
    {
        return parent + QStringLiteral("/UpdateInstaller");
    }

    void run(const QStringList& more = {})
    {
        QProcess process;
        process.start(program, QStringList{QStringLiteral("--host")} + more);
        QVERIFY(process.waitForFinished(20'000));
        output = QString::fromUtf8(process.readAllStandardOutput());
    }
};

} // namespace

void tst_ZipInstall::handsOverToTheInstaller_data()
{
    QTest::addColumn<bool>("isCopied");
    QTest::newRow("a copy of the one in the application's folder") << true;
    QTest::newRow("one that lies beside the folder already") << false;
}

void tst_ZipInstall::handsOverToTheInstaller()
{
    QFETCH(bool, isCopied);
    Installation installation;
    const StandIn inFolder(installation.inFolder());
    const QString target = installation.inParent();
    if (!isCopied) {
        const StandIn ours(target);
        test::writeFile(installation.inFolder() + QStringLiteral("x"), "another");
    }
    installation.run();

    const QString record = target + QStringLiteral(".arguments");
    QTRY_VERIFY2(QFile::exists(record), qPrintable(installation.output));
    const QStringList arguments =
        QString::fromUtf8(test::readFile(record)).split(QLatin1Char('\n'));
    QCOMPARE(arguments.size(), 8);
    const QString& newDir = arguments.at(4);
    const QStringList expected{target,
                               QStringLiteral("-oldDir"),
                               installation.folder,
                               QStringLiteral("-newDir"),
                               newDir,
                               QStringLiteral("-exe"),
                               QFileInfo(installation.program).fileName(),
                               QString()};
    QCOMPARE(arguments, expected);
    QCOMPARE(QDir(newDir).entryList(QDir::Files), QStringList{QStringLiteral("new program")});
    // The process has been replaced: it said nothing, and left what its own end would have removed.
    QCOMPARE(installation.output, QString());
    QVERIFY(QDir(QFileInfo(newDir).path()).removeRecursively());
}

void tst_ZipInstall::saysWhenTheInstallerDoesNotStart_data()
{
    QTest::addColumn<QString>("obstacle");
    QTest::addColumn<QString>("line");
    QTest::newRow("no installer") << QString()
                                  << QStringLiteral("one of the following file/dir is missing: ");
    QTest::newRow("a folder in its place")
        << QStringLiteral("in folder") << QStringLiteral("could not copy file to ");
    QTest::newRow("no program") << QStringLiteral("in parent")
                                << QStringLiteral("starting zip installation application ");
    QTest::newRow("no tree any more")
        << QStringLiteral("tidy") << QStringLiteral("the unpacked files are gone from ");
}

void tst_ZipInstall::saysWhenTheInstallerDoesNotStart()
{
    QFETCH(QString, obstacle);
    QFETCH(QString, line);
    Installation installation;
    if (obstacle == QLatin1String("in folder")) {
        QDir().mkpath(installation.inFolder());
    } else if (!obstacle.isEmpty()) {
        const StandIn installer(installation.inFolder());
    }
    if (obstacle == QLatin1String("in parent")) {
        test::writeFile(installation.inParent(), "no program");
    }
    const bool isTidy = obstacle == QLatin1String("tidy");
    installation.run(isTidy ? QStringList{QStringLiteral("--tidy")} : QStringList());
    QVERIFY2(installation.output.contains(failed), qPrintable(installation.output));
    QVERIFY2(installation.output.contains(line), qPrintable(installation.output));
    QVERIFY(!QFile::exists(installation.inParent() + QStringLiteral(".arguments")));
}

void tst_ZipInstall::leavesTheTreeForLater()
{
    Host host;
    host.robot.press(restart, later);
    host.install(Host::archive("new program"));
    QTRY_COMPARE(host.files(), QStringList{QStringLiteral("new program")});
    QCOMPARE(QDir(host.temporary.path()).entryList(QDir::Dirs | QDir::NoDotAndDotDot).size(), 1);
    QCOMPARE(host.robot.seen().size(), 2);
    QVERIFY(host.hasLogged(Log::eInfo, QStringLiteral("update.zip to ")));
    QCOMPARE(host.log.lines(Log::eError), QStringList());
}

void tst_ZipInstall::handsNothingOverWithoutATree()
{
    Host host;
    QVERIFY(QMetaObject::invokeMethod(host.fixture.client, "startZipInstall"));
    QCOMPARE(host.robot.seen(), QStringList{failed});
    host.fixture.parent.reset();
    QVERIFY(QMetaObject::invokeMethod(host.fixture.client, "startZipInstall"));
    QCOMPARE(host.robot.seen().size(), 1);
}

void tst_ZipInstall::leavesNothingOfABadArchive()
{
    Host host;
    host.robot.press(restart, now);
    host.install("<html>404</html>");
    QTRY_COMPARE(host.robot.seen().size(), 3);
    QCOMPARE(host.robot.seen().filter(QStringLiteral("could not be unpacked:<br>")).size(), 1);
    QTRY_VERIFY(QDir(host.temporary.path()).isEmpty());
    QVERIFY(!host.hasLogged(Log::eInfo, QStringLiteral("starting zip installation")));
}

void tst_ZipInstall::handsOverTheNewestTreeOnly()
{
    Host host;
    host.robot.press(restart, later);
    host.install(Host::archive("first"));
    QTRY_COMPARE(host.files(), QStringList{QStringLiteral("first")});
    host.robot.press(restart, now);
    host.install("no archive");
    QTRY_COMPARE(host.robot.seen().filter(QStringLiteral("could not be unpacked")).size(), 1);
    QTRY_COMPARE(host.files(), QStringList{QStringLiteral("first")});
    QVERIFY(!host.hasLogged(Log::eInfo, QStringLiteral("starting zip installation")));
}

// QProgressDialog shows itself when its timer fires, which an empty package starts again.
void tst_ZipInstall::closesTheProgressForGood()
{
    Host host;
    bool isBack = false;
    host.whileWaiting = [&isBack](QProgressDialog&) { isBack = true; };
    host.robot.press(restart, later);
    host.install(QByteArray());
    QTRY_COMPARE(host.robot.seen().size(), 3);
    QVERIFY(!isBack);
}

void tst_ZipInstall::letsTheUserStopWaiting()
{
    Host host;
    QString label;
    host.whileWaiting = [&label](QProgressDialog& dialog) {
        label = dialog.labelText();
        QTimer::singleShot(0, dialog.findChild<QPushButton*>(), &QPushButton::click);
    };
    host.robot.press(restart, now);
    host.install(Host::archive("new program", slowSize));
    QTRY_COMPARE(label, QStringLiteral("Unpacking 'update.zip'"));
    // As with "Restart later".
    QTRY_COMPARE(host.files(), QStringList{QStringLiteral("new program")});
    QCOMPARE(host.robot.seen().size(), 2);
}

void tst_ZipInstall::survivesWhatGoesMeanwhile_data()
{
    QTest::addColumn<bool>("isWaiting");
    QTest::addColumn<bool>("isClient");
    QTest::newRow("the client, at the question") << false << true;
    QTest::newRow("the client, while unpacking") << true << true;
    QTest::newRow("the parent, at the question") << false << false;
    QTest::newRow("the parent, while unpacking") << true << false;
}

void tst_ZipInstall::survivesWhatGoesMeanwhile()
{
    QFETCH(bool, isWaiting);
    QFETCH(bool, isClient);
    Host host;
    bool isGone = false;
    const auto end = [&host, &isGone, isClient] {
        isGone = true;
        if (isClient) {
            SoftwareUpdateClient::deleteInstance();
        } else {
            host.fixture.parent.reset();
        }
    };
    host.robot.act(restart, isWaiting ? std::function<void()>() : end, now);
    host.whileWaiting = [&end, &host](QProgressDialog&) { QTimer::singleShot(0, &host, end); };
    host.install(Host::archive("new program", slowSize));
    QTRY_VERIFY(isGone);
    QTest::qWait(1);
    QCOMPARE(host.robot.seen().size(), 2);
    QVERIFY(!host.hasLogged(Log::eInfo, QStringLiteral("starting zip installation")));
    if (isClient) {
        // Neither what was unpacked until then, nor the archive.
        QCOMPARE(host.files(), QStringList());
    }
}

int main(int argc, char* argv[])
{
    const QApplication application(argc, argv);
    if (application.arguments().contains(QStringLiteral("--host"))) {
        return runHost();
    }
    tst_ZipInstall tests;
    return QTest::qExec(&tests, argc, argv);
}

#include "tst_ZipInstall.moc"

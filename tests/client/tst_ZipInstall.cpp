#include "InstallFixture.h"
#include "Rows.h"
#include "ZipBuilder.h"

#include <QApplication>
#include <QProcess>
#include <QPushButton>
#include <QRegularExpression>

#include <cstdio>

using namespace zk;
using namespace zk::test;

namespace {

const auto restart = u"Please restart"_s;
const auto now = u"Restart now"_s;
const auto later = u"Restart later"_s;
const auto failed = u"Installation failed: Installation process failed. If problem "
                    "persists try manual install."_s;

/** A user who installs a zip package; cleans up the download managers that the client leaves. */
struct Host : QObject, InstallFixture
{
    QObjectList managers;
    QPointer<QProgressDialog> waiting;
    /** Called when the dialog for waiting is shown. */
    std::function<void()> whileWaiting;

    Host()
        : InstallFixture("update.zip")
    {
        qApp->installEventFilter(this);
        robot.press(u"Installation process"_s, u"OK"_s);
        robot.press(u"could not be unpacked"_s, u"OK"_s);
    }
    ~Host() override
    {
        SoftwareUpdateClient::deleteInstance();
        QCoreApplication::processEvents();
        qDeleteAll(managers);
    }

    static QByteArray archive(const QByteArray& name, int size = 10)
    {
        return ZipBuilder().add(name, QByteArray(size, 'x')).bytes();
    }

    /** Downloads @p zip and goes on until the question whether to restart. */
    void installArchive(const QByteArray& zip)
    {
        program = zip;
        offer("update.zip");
        const int boxes = robot.seen().size();
        install();
        QTRY_VERIFY(robot.seen().size() >= boxes + 2);
    }
    /** The files there are, and of what boxes complained. */
    QString outcome() const
    {
        const QStringList boxes = robot.seen().filter(QRegularExpression(u"unpacked|failed"_s));
        return leftovers().join(u'+') + boxes.join(u'+').section(u"<br>"_s, 0, 0);
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
            waiting = dialog;
            QTimer::singleShot(0, this, whileWaiting);
        }
        return false;
    }
};

using Act = void (*)(Host&);

/** What a copy of this program does in place of the tests: installs, and says what it saw. */
int runHost()
{
    Host host;
    const QStringList arguments = QCoreApplication::arguments();
    const bool isCut = arguments.contains(u"--cut"_s);
    const auto tidyUp = [&host, isCut] {
        const QStringList tree{u"new program"_s, u"part"_s};
        (void)QTest::qWaitFor([&host, tree] {
            QStringList left = host.leftovers();
            left.sort();
            return left == tree;
        });
        QDirIterator it(host.temporary.path(), {tree.at(isCut ? 0 : 1)}, QDir::Files,
                        QDirIterator::Subdirectories);
        isCut ? QFile::resize(it.next(), 1) : QFile::remove(it.next());
    };
    const bool isTidy = isCut || arguments.contains(u"--tidy"_s);
    host.robot.act(restart, now, isTidy ? tidyUp : std::function<void()>());
    host.installArchive(ZipBuilder().add("new program").add("data/part", "").bytes());
    (void)QTest::qWaitFor([&host] { return host.robot.seen().size() >= 3; });
    const QStringList log = host.log.lines(Log::eInfo) + host.log.lines(Log::eError);
    std::puts((host.robot.seen() + log).join(u'\n').toUtf8().constData());
    return 0;
}

} // namespace

Q_DECLARE_METATYPE(Act)

class tst_ZipInstall : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { dropOffscreenSizeHintLine(); }

    void handsOver_data()
    {
        columns<QString, QString>("place", "complaint");
        row("to a copy of the installer in the application's folder", "", "");
        row("to one that lies beside the folder already", "beside", "");
        row("no installer", "none", "one of the following file/dir is missing: ");
        row("a folder in its place", "folder", "could not copy file to ");
        row("no program", "damaged", "starting zip installation application ");
        row("a part of the tree gone", "--tidy", "unpacked files are gone from ");
        row("a part of it cut short", "--cut", "unpacked files are gone from ");
    }
    void handsOver()
    {
        QFETCH(QString, place);
        QFETCH(QString, complaint);
        const QTemporaryDir root;
        const QString parent = root.filePath(u"Prøve & 测试 dir"_s);
        const QChar quote = QDir::separator() == u'/' ? u'"' : u'\''; // as bad as names may be
        const QString folder = parent + u"/Camera %1Desk%1 app"_s.arg(quote);
        QDir().mkpath(folder);
        const QFileInfo self(QCoreApplication::applicationFilePath());
        const QString program = folder + u'/' + self.fileName();
        QFile::copy(self.filePath(), program);
        const QString inFolder = folder + u"/UpdateInstaller"_s;
        const QString inParent = parent + u"/UpdateInstaller"_s;
        if (place == u"folder"_s) {
            QDir().mkpath(inFolder);
        } else if (place != u"none"_s) {
            const StandIn installer(inFolder);
        }
        if (place == u"beside"_s) {
            const StandIn installer(inParent);
        } else if (place == u"damaged"_s) {
            writeFile(inParent, "no program");
        }
        // What the process leaves when it is replaced goes with the rest.
        const ScopedTemporaryFolder temporary{root.path()};
        QProcess process;
        process.start(program, {u"--host"_s, place});
        QVERIFY(process.waitForFinished(20'000));
        const QString output = QString::fromUtf8(process.readAllStandardOutput());
        if (!complaint.isEmpty()) {
            QVERIFY2(output.contains(failed) && output.contains(complaint), qPrintable(output));
            QVERIFY(!StandIn::wasStarted(inParent));
            return;
        }
        // The process has been replaced: it said nothing.
        QCOMPARE(output, QString());
        const QStringList arguments = StandIn::arguments(inParent);
        const QString newDir = arguments.value(4);
        QCOMPARE(arguments.mid(0, 6).join(u'|'),
                 u"%1|-oldDir|%2|-newDir|%3|-exe"_s.arg(inParent, folder, newDir));
        QCOMPARE(arguments.mid(6), QStringList{self.fileName()});
        QCOMPARE(QDir(newDir).entryList(QDir::Files), QStringList{u"new program"_s});
    }

    void asks_data()
    {
        columns<QByteArray, QString, bool, Act, QString>("zip", "reply", "isWaiting", "act", "end");
        const QByteArray quick = Host::archive("new program");
        // Takes some time to unpack, and little to download.
        const QByteArray slow = Host::archive("new program", 50'000'000);
        const char* const bad = "tst_ZipInstall: Downloaded file could not be unpacked:";
        const Act deleteClient = [](Host&) { SoftwareUpdateClient::deleteInstance(); };
        const Act stopWaiting = [](Host& host) {
            QCOMPARE(host.waiting->labelText(), u"Unpacking 'update.zip'"_s);
            host.waiting->findChild<QPushButton*>()->click();
        };
        row("later", quick, later, false, Act(nullptr), "new program");
        row("closed", quick, "(closed)", false, Act(nullptr), "new program");
        row("later, stopping to wait", slow, now, true, stopWaiting, "new program");
        row("client gone at the question", slow, now, false, deleteClient, "");
        row("client gone while unpacking", slow, now, true, deleteClient, "");
        row("no archive", QByteArray("<html>404</html>"), now, false, Act(nullptr), bad);
    }
    void asks()
    {
        QFETCH(QByteArray, zip);
        QFETCH(QString, reply);
        QFETCH(bool, isWaiting);
        QFETCH(Act, act);
        QFETCH(QString, end);
        Host host;
        bool isDone = false;
        const auto meanwhile = [&] {
            isDone = true;
            if (act) {
                act(host);
            }
        };
        host.robot.act(restart, reply, isWaiting ? std::function<void()>() : meanwhile);
        host.whileWaiting = isWaiting ? meanwhile : std::function<void()>();
        host.installArchive(zip);
        QTRY_VERIFY(isDone);
        QTRY_COMPARE(host.outcome(), end);
        QCOMPARE(host.robot.seen().filter(restart).size(), 1);
        QVERIFY(host.log.lines(Log::eInfo).filter(u"starting zip inst"_s).isEmpty());
    }

    void handsOverTheNewestTreeOnly()
    {
        Host host;
        QVERIFY(QMetaObject::invokeMethod(host.client, "startZipInstall"));
        QCOMPARE(host.robot.seen(), QStringList{failed});
        host.robot.press(restart, later);
        host.installArchive(Host::archive("first"));
        QTRY_COMPARE(host.leftovers(), QStringList{u"first"_s});
        host.robot.press(restart, now);
        host.installArchive(Host::archive("../<b>"));
        QTRY_COMPARE(host.robot.seen().filter(u"../&lt;b&gt;"_s).size(), 1);
        QTRY_COMPARE(host.leftovers(), QStringList{u"first"_s});
        QVERIFY(host.log.lines(Log::eInfo).filter(u"starting zip inst"_s).isEmpty());
    }
};

int main(int argc, char* argv[])
{
    const QApplication application(argc, argv);
    if (application.arguments().contains(u"--host"_s)) {
        return runHost();
    }
    tst_ZipInstall tests;
    return QTest::qExec(&tests, argc, argv);
}

#include "tst_ZipInstall.moc"

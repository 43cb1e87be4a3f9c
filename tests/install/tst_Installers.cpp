#include "DialogRobot.h"
#include "Environment.h"
#include "Rows.h"
#include "StandIn.h"
#include "ZipBuilder.h"

#include "install/DownloadManager.h"
#include "support/CommandLine.h"
#include "support/Exception.h"
#include "support/FileUtils.h"
#include "support/ProcessStart.h"

#include <QApplication>
#include <QFileDialog>
#include <QProcess>
#include <QProgressDialog>
#include <QPushButton>

using namespace zk;
using namespace zk::test;

namespace {

constexpr auto native = &QDir::toNativeSeparators;

/**
 * Everything below one folder whose name is as bad as folders get, temporary files and PATH too,
 * and a user who chooses @p folder for the installation, or none.
 */
struct Place : QObject
{
    QTemporaryDir root;
    QString top = root.filePath(u"Prøve & (测试) 50% dir"_s);
    ScopedVariable programs{"PATH", native(path("bin"))};
    ScopedTemporaryFolder temporaryFolder{path("tmp")};
    DialogRobot robot;
    QString folder;
    bool pressesCancel = false;
    QString chooserTitle;
    /** The progress dialog's label and numbers. */
    QString progress;

    Place()
    {
        QDir().mkpath(path("tmp"));
        qApp->installEventFilter(this);
    }
    ~Place() override
    {
        while (QGuiApplication::overrideCursor()) {
            QGuiApplication::restoreOverrideCursor();
        }
    }

    QString path(const char* name) const { return top + u'/' + QString::fromUtf8(name); }
    QStringList leftovers() const
    {
        return QDir(path("tmp")).entryList(QDir::AllEntries | QDir::NoDotAndDotDot);
    }
    static bool isWaiting()
    {
        return QGuiApplication::overrideCursor() &&
               QGuiApplication::overrideCursor()->shape() == Qt::WaitCursor;
    }

    bool eventFilter(QObject* object, QEvent* event) override
    {
        if (event->type() != QEvent::Show) {
            return false;
        }
        if (auto* const chooser = qobject_cast<QFileDialog*>(object)) {
            chooserTitle = chooser->windowTitle();
            chooser->selectFile(folder);
            QMetaObject::invokeMethod(chooser, folder.isEmpty() ? "reject" : "accept",
                                      Qt::QueuedConnection);
        } else if (auto* const dialog = qobject_cast<QProgressDialog*>(object)) {
            progress = u"%1 0..%2"_s.arg(dialog->labelText()).arg(dialog->maximum());
            if (pressesCancel) {
                dialog->findChild<QPushButton*>()->click();
            }
        }
        return false;
    }
};

QStringList installerArguments(const QString& value)
{
    return {u"-oldDir"_s, value, u"-newDir"_s, value, u"-exe"_s, value};
}

} // namespace

/** Real processes: what arrives at programs, and what the command interpreter makes of it. */
class tst_Installers : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        QCoreApplication::setAttribute(Qt::AA_DontUseNativeDialogs);
        dropOffscreenSizeHintLine();
    }

    void quotes_data();
    void quotes()
    {
        QFETCH(QString, argument);
        QTEST(quoteForProgram(argument), "forPrograms");
        QTEST(quoteForCommandInterpreter(argument), "forTheInterpreter");
        // Without an extension, as UpdateInstaller is.
        const QTemporaryDir folder;
        const QString program = folder.filePath(u"Prøve & dir/Update Installer"_s);
        const StandIn standIn(program);
        // This program once more, see main().
        QVERIFY(QProcess::startDetached(QCoreApplication::applicationFilePath(),
                                        {u"--replace"_s, program, argument}));
        QCOMPARE(standIn.arguments(), QStringList(program) + installerArguments(argument));
    }

    void copiesAndLaunches_data()
    {
        columns<QString>("name");
        row("blanks", "a b  c");
        row("signs", "a & b&c (d) e)^f, g;h=i!j!'k");
        row("one percent sign", "50% off");
        row("a variable's name", "%TEMP%");
        row("all of it", "Prøve & (测试) 50% ^dir");
    }
    void copiesAndLaunches()
    {
#ifdef Q_OS_WIN
        QFETCH(QString, name);
        if (isWine() && name == u"%TEMP%"_s) {
            QSKIP("Wine's cmd takes the quotes and carets around percent signs for the name's");
        }
        const QTemporaryDir root;
        const QDir top(root.filePath(name));
        const QString unpacked = top.filePath(u"new "_s + name);
        const QString installed = top.filePath(u"old "_s + name);
        const QString program = u"/bin/View "_s + name + u".exe"_s;
        const StandIn inPackage(unpacked + program);
        QDir().mkpath(installed);
        writeFile(unpacked + u"/read me"_s, "new");
        writeFile(installed + u"/read me"_s, "old");
        writeFile(installed + u"/settings"_s, "the user's");
        QFile::setPermissions(installed + u"/read me"_s, QFile::ReadOwner);
        const QString started = native(installed + program);
        startCopyAndLaunch(
            FileUtils::nativePath(u"cmd.exe"_s, SearchPath{qEnvironmentVariable("PATH")}),
            {native(unpacked), native(installed), started});
        QCOMPARE(StandIn::arguments(installed + program), QStringList{started});
        QCOMPARE(readFile(installed + u"/read me"_s), QByteArray("new"));
        QVERIFY(QFile::exists(installed + u"/settings"_s));
        QVERIFY(!QFile::exists(unpacked));
#else
        QSKIP("there is no cmd.exe here");
#endif
    }

    void startsInstallers()
    {
        const Place place;
        const QString program = native(place.path("set up.EXE"));
        const StandIn standIn(program);
        // As downloaded: nobody may execute it.
        QFile::setPermissions(program, QFile::ReadOwner | QFile::WriteOwner);
        DownloadManager().runInstaller(place.path("set up.EXE"));
        QCOMPARE(standIn.arguments(), QStringList{program});

        const QString installer = native(place.path("bin/msiexec.exe"));
        const StandIn msi(installer);
        DownloadManager().runInstaller(place.path("a b.MSI"));
        QCOMPARE(msi.arguments(), (QStringList{installer, u"/i"_s, native(place.path("a b.MSI"))}));
        // Never from the folder we are in.
        const auto name = u"msiexec.exe"_s;
        const QString workingFolder = QDir::currentPath();
        QDir::setCurrent(place.path("bin"));
        QCOMPARE(FileUtils::nativePath(name, SearchPath{u"."_s}), name);
        QDir::setCurrent(workingFolder);

        for (const char* file : {"update.ZIP", "a.tar.gz", "a.exe.txt", ""}) {
            QString message;
            try {
                DownloadManager().runInstaller(QLatin1String(file));
            } catch (const ExceptionQt& error) {
                message = error.message();
            }
            QCOMPARE(message, u"execl() failed"_s);
        }
    }

    void copiesAnArchiveOverTheInstallation_data()
    {
        columns<QStringList, QString>("programs", "launched");
        row("no program in it", QStringList(), "");
        row("two folders down", lines("x/y/a.exe"), "x/y/a.exe");
        row("the larger of two", lines("bin/a.exe\nbin/b.exe"), "bin/b.exe");
        row("at the top before the larger one below", lines("a.exe\nbin/b.exe"), "a.exe");
    }
    void copiesAnArchiveOverTheInstallation()
    {
        QFETCH(QStringList, programs);
        QFETCH(QString, launched);
        Place place;
        const StandIn interpreter(place.path("bin/cmd.exe"));
        ZipBuilder archive;
        archive.add("readme", QByteArray(300'000, 'r'));
        int size = 300'000;
        QByteArray contents;
        for (const QString& program : programs) {
            contents += 'p';
            archive.add(entry(program.toUtf8(), contents).with(&ZipItem::unixMode, 0100755));
            size += contents.size();
        }
        archive.write(place.path("update.zip"));
        place.folder = place.path("installed here");
        QDir().mkpath(place.folder);
        DownloadManager().runInstaller(place.path("update.zip"));

        QCOMPARE(place.progress, u"Unpacking '%1' 0..%2"_s.arg(place.path("update.zip")).arg(size));
        QVERIFY(Place::isWaiting());
        QCOMPARE(place.leftovers().size(), 1);
        const QString unpackDir = native(place.path("tmp") + u'/' + place.leftovers().constFirst());
        QVERIFY(QFile::exists(unpackDir + u"/readme"_s));
        const QString target = launched.isEmpty() ? QCoreApplication::applicationFilePath()
                                                  : place.folder + u'/' + launched;
        const QString fixed = u"/Q|/S|/C|xcopy|/I|/R|/Q|/S|/Y|%1|%2|&&|rmdir|/S|/Q|%1|&&|"
                              "echo|Launching %3. Please wait...|&&|%4"_s;
        QCOMPARE(
            interpreter.arguments().mid(1),
            fixed.arg(unpackDir, native(place.folder), QFileInfo(target).fileName(), native(target))
                .split(u'|'));
    }

    void leavesNothing_data()
    {
        columns<bool, bool>("choosesFolder", "pressesCancel");
        row("when the folder dialog is cancelled", false, false);
        row("when the progress dialog is cancelled", true, true);
        row("of a bad archive", true, false);
    }
    void leavesNothing()
    {
        QFETCH(bool, choosesFolder);
        QFETCH(bool, pressesCancel);
        Place place;
        const StandIn interpreter(place.path("bin/cmd.exe"));
        const ZipItem bad = entry("bad & entry", QByteArray(1'000'000, 'b')).with(&ZipItem::crc, 1);
        ZipBuilder().add("good").add(bad).write(place.path("update.zip"));
        place.folder = choosesFolder ? place.top : QString();
        place.pressesCancel = pressesCancel;
        QString message;
        try {
            DownloadManager().runInstaller(place.path("update.zip"));
        } catch (const IOException& error) {
            message = u"Unpacking failed: "_s + error.message();
        }
        QCOMPARE(place.chooserTitle, u"Select Installation Path for 'update.zip'"_s);
        QCOMPARE(message.contains(u"bad & entry"_s), choosesFolder && !pressesCancel);
        QCOMPARE(place.robot.seen().join(u'|'), message);
        QCOMPARE(place.leftovers(), QStringList());
        QCOMPARE(Place::isWaiting(), choosesFolder);
        QVERIFY(!interpreter.wasStarted());
    }
};

// Out here, because moc cannot read past raw text.
void tst_Installers::quotes_data()
{
    columns<QString, QString, QString>("argument", "forPrograms", "forTheInterpreter");
    row("signs", R"(C:\a&(b)^%c)", R"(C:\a&(b)^%c)", R"("C:\a&(b)^%c")");
    row("empty", "", R"("")", R"("")");
    row("blanks and a backslash", R"(C:\ä b\)", R"("C:\ä b\\")", R"("C:\ä b\\")");
    row("a root folder", R"(D:\)", R"(D:\)", R"("D:\\")");
    row("quotes", R"(say "x")", R"("say \"x\"")", R"("say x")");
    row("backslashes before a quote", R"(a\\"b c\\)", R"("a\\\\\"b c\\\\")", R"("a\\b c\\\\")");
    row("a variable's name", "%PATH%", "%PATH%", R"(""^%"PATH"^%"")");
    row("one percent sign in a name", R"(C:\5% x\1%)", R"("C:\5% x\1%")", R"("C:\5% x\1%")");
    row("two in a name", R"(a%\%b%\c)", R"(a%\%b%\c)", R"("a%\"^%"b"^%"\c")");
    row("other alphabets", "测试 📷", R"("测试 📷")", R"("测试 📷")");
}

int main(int argc, char* argv[])
{
    const QApplication application(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    if (arguments.value(1) == u"--replace"_s) {
        replaceProcess(arguments.value(2), installerArguments(arguments.value(3)));
        return 1; // it returned
    }
    tst_Installers tests;
    return QTest::qExec(&tests, argc, argv);
}

#include "tst_Installers.moc"

#ifdef _WIN32
#include <windows.h>

#include <shellapi.h>
#endif

#include "Environment.h"
#include "LogCapture.h"
#include "MessageFilter.h"
#include "StandIn.h"
#include "ZipBuilder.h"

#include "install/CommandLine.h"
#include "install/DownloadManager.h"
#include "install/ProgressScale.h"
#include "support/Exception.h"
#include "support/FileUtils.h"

#include <QApplication>
#include <QFileDialog>
#include <QMessageBox>
#include <QProgressDialog>
#include <QPushButton>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>

using namespace zk;
using test::StandIn;

class tst_Installers : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void quotesForPrograms_data();
    void quotesForPrograms();
    void quotesForTheCommandInterpreter_data();
    void quotesForTheCommandInterpreter();
    void scalesProgress();
    void searchesPrograms();
    void startsInstallers_data();
    void startsInstallers();
    void refusesOtherFiles_data();
    void refusesOtherFiles();
    void copiesAnArchiveOverTheInstallation_data();
    void copiesAnArchiveOverTheInstallation();
    void leavesNothingWhenTheUserCancels_data();
    void leavesNothingWhenTheUserCancels();
    void leavesNothingOfABadArchive();
    void findsTheDefaultExecutable_data();
    void findsTheDefaultExecutable();
    void unpacksInTheBackground();
    void saysWhyItCannotUnpack();
    void saysWhenThereIsNoTemporaryFolder();
};

namespace {

/** Everything below one folder whose name is as bad as folders get, temporary files and PATH too.
 */
struct Place
{
    QTemporaryDir root;
    QString top = root.filePath(QStringLiteral("Prøve & (测试) 50% dir"));
    test::ScopedVariable programs{"PATH", QDir::toNativeSeparators(path("bin"))};
    test::ScopedTemporaryFolder temporaryFolder{temporary()};
    test::LogCapture log;

    Place() { QDir().mkpath(temporary()); }
    ~Place()
    {
        while (QGuiApplication::overrideCursor()) {
            QGuiApplication::restoreOverrideCursor();
        }
    }

    [[nodiscard]] QString path(const char* name) const
    {
        return top + QLatin1Char('/') + QLatin1String(name);
    }
    [[nodiscard]] QString temporary() const { return path("tmp"); }
    [[nodiscard]] QStringList leftovers() const
    {
        return QDir(temporary()).entryList(QDir::AllEntries | QDir::NoDotAndDotDot);
    }
};

bool isWaiting()
{
    return QGuiApplication::overrideCursor() &&
           QGuiApplication::overrideCursor()->shape() == Qt::WaitCursor;
}

/** Answers dialogs: the folder chooser by @p folder, or by Cancel when that is empty. */
class User : public QObject
{
public:
    explicit User(const QString& folder)
        : m_folder(folder)
    {
        connect(&m_timer, &QTimer::timeout, this, &User::look);
        m_timer.start(1);
        qApp->installEventFilter(this);
    }

    bool pressesCancel = false;
    QStringList boxes;
    QString chooserTitle;
    /** The progress dialog's label and numbers. */
    QString progress;

private:
    void look()
    {
        const QWidgetList windows = QApplication::topLevelWidgets();
        for (QWidget* window : windows) {
            if (!window->isVisible()) {
                continue;
            }
            if (auto* chooser = qobject_cast<QFileDialog*>(window)) {
                choose(*chooser);
            } else if (auto* box = qobject_cast<QMessageBox*>(window)) {
                boxes << box->windowTitle() + QStringLiteral(": ") + box->text();
                box->accept();
            }
        }
    }
    void choose(QFileDialog& chooser)
    {
        chooserTitle = chooser.windowTitle();
        if (m_folder.isEmpty()) {
            chooser.reject();
        } else {
            chooser.selectFile(m_folder);
            QMetaObject::invokeMethod(&chooser, "accept");
        }
    }
    bool eventFilter(QObject* object, QEvent* event) override
    {
        auto* const dialog =
            event->type() == QEvent::Show ? qobject_cast<QProgressDialog*>(object) : nullptr;
        if (dialog) {
            progress = QStringLiteral("%1 0..%2").arg(dialog->labelText()).arg(dialog->maximum());
            if (pressesCancel) {
                dialog->findChild<QPushButton*>()->click();
            }
        }
        return QObject::eventFilter(object, event);
    }

    QTimer m_timer;
    QString m_folder;
};

test::ZipItem program(const QByteArray& name, int size)
{
    test::ZipItem item;
    item.name = name;
    item.data = QByteArray(size, 'p');
    item.unixMode = 0100755;
    return item;
}

} // namespace

void tst_Installers::initTestCase()
{
    QCoreApplication::setAttribute(Qt::AA_DontUseNativeDialogs);
    QCoreApplication::setApplicationName(QStringLiteral("Viewer"));
    test::dropOffscreenSizeHintLine();
}

void tst_Installers::quotesForPrograms_data()
{
    QTest::addColumn<QString>("argument");
    QTest::addColumn<QString>("quoted");
    const auto row = [](const char* name, const char* argument, const char* quoted) {
        QTest::newRow(name) << QString::fromUtf8(argument) << QString::fromUtf8(quoted);
    };
    row("nothing special", R"(C:\a&b^%c)", R"(C:\a&b^%c)");
    row("empty", "", R"("")");
    row("blanks", R"(C:\a b\c)", R"("C:\a b\c")");
    row("blanks and a backslash at the end", R"(C:\a b\)", R"("C:\a b\\")");
    row("a backslash at the end", R"(C:\)", R"(C:\)");
    row("quotes", R"(say "x")", R"("say \"x\"")");
    row("backslashes before a quote", R"(a\\"b c\\)", R"("a\\\\\"b c\\\\")");
    row("umlauts", "ä ö", "\"ä ö\"");
}

void tst_Installers::quotesForPrograms()
{
    QFETCH(QString, argument);
    const QString quoted = quoteForProgram(argument);
    QTEST(quoted, "quoted");
#ifdef Q_OS_WIN
    int count = 0;
    const std::wstring line = QStringLiteral("program %1 end").arg(quoted).toStdWString();
    wchar_t** const parts = CommandLineToArgvW(line.c_str(), &count);
    QCOMPARE(count, 3);
    QCOMPARE(QString::fromWCharArray(parts[1]), argument);
    LocalFree(parts);
#endif
}

void tst_Installers::quotesForTheCommandInterpreter_data()
{
    QTest::addColumn<QString>("argument");
    QTest::addColumn<QString>("quoted");
    const auto row = [](const char* name, const char* argument, const char* quoted) {
        QTest::newRow(name) << QString::fromUtf8(argument) << QString::fromUtf8(quoted);
    };
    row("blanks and signs", R"(C:\a & b (c) ^d)", R"("C:\a & b (c) ^d")");
    row("nothing special", R"(C:\a)", R"("C:\a")");
    row("a root folder", R"(D:\)", R"("D:\\")");
    row("a variable's name", "%PATH%", R"(""^%"PATH"^%"")");
    row("one percent sign in a name", R"(C:\50% off\100%)", R"("C:\50% off\100%")");
    row("two in a name", R"(a%\%b%\c)", R"("a%\"^%"b"^%"\c")");
    row("a quote and a line break", "a\" & b\n& c", R"("a & b& c")");
}

void tst_Installers::quotesForTheCommandInterpreter()
{
    QFETCH(QString, argument);
    QTEST(quoteForCommandInterpreter(argument), "quoted");
}

void tst_Installers::scalesProgress()
{
    constexpr qint64 most = std::numeric_limits<int>::max();
    QCOMPARE(progressScale(0), qint64(1));
    QCOMPARE(progressScale(most), qint64(1));
    QCOMPARE(progressScale(most + 1), qint64(1024));
    QCOMPARE(progressScale(std::numeric_limits<qint64>::max()), qint64(1024) * 1024 * 1024 * 1024);
}

void tst_Installers::searchesPrograms()
{
    const Place place;
    const QString name = QStringLiteral("tool.exe");
    const StandIn second(place.path("b/tool.exe"));
    const auto find = [&name](const QStringList& folders) {
        return FileUtils::nativePath(name, SearchPath{folders.join(QDir::listSeparator())});
    };
    const QString found = QDir::toNativeSeparators(place.path("b/tool.exe"));
    QCOMPARE(find({place.path("a"), place.path("b")}), found);
    const StandIn first(place.path("a/tool.exe"));
    QCOMPARE(find({place.path("a"), place.path("b")}),
             QDir::toNativeSeparators(place.path("a/tool.exe")));
    QCOMPARE(find({place.path("c")}), name);
    QCOMPARE(find({}), name);
    const QString workingFolder = QDir::currentPath();
    QDir::setCurrent(place.path("a"));
    QCOMPARE(find({QStringLiteral(".")}), name);
    QDir::setCurrent(workingFolder);
}

void tst_Installers::startsInstallers_data()
{
    QTest::addColumn<QString>("package");
    QTest::addColumn<QString>("started");
    QTest::newRow("exe") << QStringLiteral("set up.exe") << QStringLiteral("set up.exe");
    QTest::newRow("EXE") << QStringLiteral("setup.EXE") << QStringLiteral("setup.EXE");
    QTest::newRow("msi") << QStringLiteral("a b.msi") << QStringLiteral("bin/msiexec.exe");
    QTest::newRow("MSI") << QStringLiteral("a.MSI") << QStringLiteral("bin/msiexec.exe");
}

void tst_Installers::startsInstallers()
{
    QFETCH(QString, package);
    QFETCH(QString, started);
    const Place place;
    const QString program = place.top + QLatin1Char('/') + started;
    const StandIn standIn(program);
    // As downloaded: nobody may execute it.
    QFile::setPermissions(program, program.endsWith(package) ? QFile::ReadOwner | QFile::WriteOwner
                                                             : QFile::permissions(program));
    const QString file = place.top + QLatin1Char('/') + package;
    DownloadManager().runInstaller(file);
    QStringList expected{QDir::toNativeSeparators(program)};
    if (package != started) {
        expected << QStringLiteral("/i") << QDir::toNativeSeparators(file);
    }
    QCOMPARE(standIn.arguments(), expected);
}

void tst_Installers::refusesOtherFiles_data()
{
    QTest::addColumn<QString>("file");
    for (const char* file : {"update.ZIP", "a.tar.gz", "a.exe.txt", ""}) {
        QTest::addRow("'%s'", file) << QString::fromLatin1(file);
    }
}

void tst_Installers::refusesOtherFiles()
{
    QFETCH(QString, file);
    try {
        DownloadManager().runInstaller(file);
        QFAIL("nothing was thrown");
    } catch (const ExceptionQt& error) {
        QCOMPARE(error.message(), QStringLiteral("execl() failed"));
    }
}

void tst_Installers::copiesAnArchiveOverTheInstallation_data()
{
    QTest::addColumn<QByteArray>("executable");
    QTest::addColumn<QString>("launched");
    const QString own = QFileInfo(QCoreApplication::applicationFilePath()).fileName();
    QTest::newRow("a program in it")
        << QByteArray("bin/Viewer.exe") << QStringLiteral("Viewer.exe");
    QTest::newRow("no program in it") << QByteArray() << own;
}

void tst_Installers::copiesAnArchiveOverTheInstallation()
{
    QFETCH(QByteArray, executable);
    QFETCH(QString, launched);
    const Place place;
    const StandIn interpreter(place.path("bin/cmd.exe"));
    const QString zipFile = place.path("update.zip");
    test::ZipBuilder archive;
    archive.add("readme", QByteArray(300'000, 'r'));
    if (!executable.isEmpty()) {
        archive.add(program(executable, 10));
    }
    archive.write(zipFile);
    const QString installDir = place.path("installed here");
    QDir().mkpath(installDir);
    User user(installDir);
    DownloadManager().runInstaller(zipFile);

    QCOMPARE(user.boxes, QStringList());
    QCOMPARE(user.chooserTitle, QStringLiteral("Select Installation Path for 'update.zip'"));
    QCOMPARE(user.progress, QStringLiteral("Unpacking '%1' 0..%2")
                                .arg(zipFile)
                                .arg(300'000 + (executable.isEmpty() ? 0 : 10)));
    QVERIFY(isWaiting());
    QCOMPARE(place.leftovers().size(), 1);
    const QString unpackDir = QDir::toNativeSeparators(place.temporary() + QLatin1Char('/') +
                                                       place.leftovers().constFirst());
    QVERIFY(QFile::exists(unpackDir + QStringLiteral("/readme")));
    const QString target = executable.isEmpty()
                               ? QCoreApplication::applicationFilePath()
                               : installDir + QLatin1Char('/') + QString::fromLatin1(executable);
    const QString fixed = QStringLiteral("/Q|/S|/C|xcopy|/I|/R|/Q|/S|/Y|%1|%2|&&|rmdir|/S|/Q|%1|&&|"
                                         "echo|Launching %3. Please wait...|&&|%4");
    const QStringList expected = fixed
                                     .arg(unpackDir, QDir::toNativeSeparators(installDir), launched,
                                          QDir::toNativeSeparators(target))
                                     .split(QLatin1Char('|'));
    QCOMPARE(interpreter.arguments().mid(1), expected);
}

void tst_Installers::leavesNothingWhenTheUserCancels_data()
{
    QTest::addColumn<bool>("choosesFolder");
    QTest::newRow("the folder dialog") << false;
    QTest::newRow("the progress dialog") << true;
}

void tst_Installers::leavesNothingWhenTheUserCancels()
{
    QFETCH(bool, choosesFolder);
    const Place place;
    const StandIn interpreter(place.path("bin/cmd.exe"));
    test::ZipBuilder archive;
    for (char name = 'a'; name <= 'z'; ++name) {
        archive.add(QByteArray(1, name), QByteArray(100'000, name));
    }
    archive.write(place.path("update.zip"));
    User user(choosesFolder ? place.top : QString());
    user.pressesCancel = true;
    DownloadManager().runInstaller(place.path("update.zip"));
    QCOMPARE(place.leftovers(), QStringList());
    QCOMPARE(isWaiting(), choosesFolder);
    QCOMPARE(user.boxes, QStringList());
    QVERIFY(!interpreter.wasStarted());
}

void tst_Installers::leavesNothingOfABadArchive()
{
    const Place place;
    test::ZipItem bad;
    bad.name = "bad & entry";
    bad.data = "data";
    bad.crc = 1;
    test::ZipBuilder().add("good").add(bad).write(place.path("update.zip"));
    User user(place.top);
    try {
        DownloadManager().runInstaller(place.path("update.zip"));
        QFAIL("nothing was thrown");
    } catch (const IOException& error) {
        QVERIFY(error.message().contains(QStringLiteral("bad & entry")));
        QCOMPARE(user.boxes, QStringList{QStringLiteral("Unpacking failed: ") + error.message()});
    }
    QCOMPARE(place.leftovers(), QStringList());
    QVERIFY(isWaiting());
}

void tst_Installers::findsTheDefaultExecutable_data()
{
    QTest::addColumn<QStringList>("programs");
    QTest::addColumn<QString>("found");
    const auto row = [](const char* name, const QStringList& programs, const char* found) {
        QTest::newRow(name) << programs << QString::fromLatin1(found);
    };
    row("none", {}, "");
    row("below a folder", {QStringLiteral("bin/a.exe")}, "bin/a.exe");
    row("two folders down", {QStringLiteral("x/y/a.exe")}, "x/y/a.exe");
    row("the larger of two", {QStringLiteral("a.exe"), QStringLiteral("b.exe")}, "b.exe");
    row("at the top before the larger one below",
        {QStringLiteral("a.exe"), QStringLiteral("bin/b.exe")}, "a.exe");
}

void tst_Installers::findsTheDefaultExecutable()
{
    QFETCH(QStringList, programs);
    const QTemporaryDir folder;
    test::writeFile(folder.filePath(QStringLiteral("largest.txt")), QByteArray(1000, 'x'));
    int size = 0;
    for (const QString& program : programs) {
        const QString path = folder.filePath(program);
        QDir().mkpath(QFileInfo(path).absolutePath());
        test::writeFile(path, QByteArray(++size, 'x'));
        QFile::setPermissions(path, QFile::permissions(path) | QFile::ExeOwner | QFile::ExeUser);
    }
    QTEST(DownloadManager().findDefaultExecutable(QDir(folder.path())), "found");
}

void tst_Installers::unpacksInTheBackground()
{
    const Place place;
    test::ZipBuilder().add("a/b").write(place.path("first.zip"));
    test::ZipBuilder().add("c").write(place.path("second.zip"));
    DownloadManager manager;
    QSignalSpy done(&manager, &DownloadManager::unzippingDone);
    manager.unzipPackage(place.path("first.zip"));
    manager.unzipPackage(place.path("second.zip"));
    QVERIFY(done.wait());
    const QString folder = done.first().first().toString();
    QVERIFY(QFile::exists(folder + QStringLiteral("/a/b")));
    QVERIFY(!QFile::exists(place.path("first.zip")));
    QVERIFY(QFile::exists(place.path("second.zip")));
    QCOMPARE(place.leftovers(), QStringList{QFileInfo(folder).fileName()});
    QVERIFY(place.log.has(Log::eInfo,
                          QStringLiteral("DownloadManager::installPackage() -> trying to extract "
                                         "%1 to %2")
                              .arg(place.path("first.zip"), folder)));
}

void tst_Installers::saysWhyItCannotUnpack()
{
    const Place place;
    test::writeFile(place.path("a & b.zip"), "no archive");
    User user{QString()};
    DownloadManager manager;
    manager.unzipPackage(place.path("a & b.zip"));
    QTRY_COMPARE(user.boxes.size(), 1);
    QVERIFY2(user.boxes.first().startsWith(
                 QStringLiteral("Viewer: Downloaded file could not be unpacked:<br>The archive ")),
             qPrintable(user.boxes.first()));
    QVERIFY(user.boxes.first().contains(QStringLiteral("a &amp; b.zip")));
    QTRY_COMPARE(place.leftovers(), QStringList());
}

void tst_Installers::saysWhenThereIsNoTemporaryFolder()
{
    const Place place;
    test::ZipBuilder().add("a").write(place.path("update.zip"));
    const test::ScopedTemporaryFolder missing(place.path("missing"));
    DownloadManager manager;
    manager.unzipPackage(place.path("update.zip"));
    QVERIFY(!manager.unzipper());
    QVERIFY(place.log.has(Log::eError, QStringLiteral("Could not create folder to unzip into!")));
    User user(place.top);
    manager.runInstaller(place.path("update.zip"));
    QCOMPARE(user.boxes.size(), 1);
    QVERIFY(user.boxes.first().startsWith(QStringLiteral("Installation failed: ")));
}

QTEST_MAIN(tst_Installers)
#include "tst_Installers.moc"

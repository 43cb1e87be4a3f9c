// A stand-alone program: the initialisation order of its static objects does not matter.
// clazy:excludeall=non-pod-global-static

// End-to-end self-update with real processes and files: creates an application folder with Camera
// Desk 4.2.0, publishes 4.3.0 as a zip package, starts the old version and waits until the new one
// reports that it is up to date. Prints the timeline. Exits with 0 only if the folder then contains
// exactly the files of the new version. With --publisher, the package is signed, a tenth of its
// data is new, and only that may be fetched.

#include "demo/Archive.h"
#include "demo/Console.h"
#include "demo/UpdateServer.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QCryptographicHash>
#include <QDir>
#include <QDirIterator>
#include <QElapsedTimer>
#include <QFile>
#include <QMap>
#include <QProcess>
#include <QRandomGenerator>
#include <QTemporaryDir>
#include <QThread>

#ifdef Q_OS_WIN
#include <windows.h>
#endif

using demo::ArchiveFile;
using demo::print;
using demo::printError;

namespace {

#ifdef Q_OS_WIN
const QString hostName = QStringLiteral("CameraDesk.exe");
#else
const QString hostName = QStringLiteral("CameraDesk");
#endif
const QString installerName = QStringLiteral("UpdateInstaller");

QByteArray contents(const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        printError(QStringLiteral("cannot read %1").arg(path));
        std::exit(1);
    }
    return file.readAll();
}

/** What all versions consist of. */
struct Payload
{
    QString library;
    int bytes = 0;
    /** Of 500 files. */
    int changed = 500;
};

/** The application folder of one version: the host, its dependencies, and data. */
QList<ArchiveFile> application(const QString& host, const Payload& payload, quint32 seed)
{
    const QDir own(QCoreApplication::applicationDirPath());
    QList<ArchiveFile> files{
        {hostName, contents(host), true},
        {QFileInfo(payload.library).fileName(), contents(payload.library), true},
        {installerName, contents(own.filePath(installerName)), true},
        {QStringLiteral("version %1.txt").arg(seed), QByteArray::number(seed), false},
    };
    constexpr int pieces = 500;
    QRandomGenerator old(0);
    QRandomGenerator fresh(seed);
    for (int i = 0; i < pieces; ++i) {
        QRandomGenerator& generator = i < pieces - payload.changed ? old : fresh;
        QByteArray bytes(payload.bytes / pieces / 4 * 4, Qt::Uninitialized);
        generator.fillRange(reinterpret_cast<quint32*>(bytes.data()), bytes.size() / 4);
        files.append({QStringLiteral("data/%1/Bild ä %2.bin").arg(i % 20).arg(i), bytes, false});
    }
    return files;
}

bool writeFiles(const QDir& folder, const QList<ArchiveFile>& files)
{
    for (const ArchiveFile& entry : files) {
        const QString path = folder.filePath(entry.name);
        QFile file(path);
        if (!QDir().mkpath(QFileInfo(path).absolutePath()) || !file.open(QIODevice::WriteOnly) ||
            file.write(entry.contents) != entry.contents.size()) {
            return false;
        }
        file.setPermissions(file.permissions() |
                            (entry.isProgram ? QFile::ExeOwner : QFile::Permissions()));
    }
    return true;
}

QByteArray hash(const QByteArray& bytes)
{
    return QCryptographicHash::hash(bytes, QCryptographicHash::Sha1);
}

/** The differences between @p folder and @p files; empty if they are equal. */
QStringList differences(const QDir& folder, const QList<ArchiveFile>& files)
{
    QMap<QString, QByteArray> expected;
    for (const ArchiveFile& file : files) {
        expected.insert(file.name, hash(file.contents));
    }
    QStringList result;
    QDirIterator it(folder.path(), QDir::Files | QDir::Hidden, QDirIterator::Subdirectories);
    while (it.hasNext()) {
        const QString name = folder.relativeFilePath(it.next());
        if (expected.take(name) != hash(contents(it.filePath()))) {
            result << name;
        }
    }
    return result + expected.keys();
}

constexpr char packageName[] = "camera-desk-4.3.0.zip";

/** Publishes 4.3.0; the size of the package. */
qint64 publish(demo::UpdateServer& server, const QList<ArchiveFile>& files)
{
    const QByteArray archive = demo::storedZip(files);
    const QString path = QLatin1Char('/') + QLatin1String(packageName);
    server.setAnswer(path, demo::UpdateServer::page("application/zip", archive));
    server.setDocument("<softwareList><package-set type=\"Application\" name=\"Camera Desk\" "
                       "status=\"STABLE\" platform=\"Win32 Win64\" language=\"en de fr\">"
                       "<package release=\"4.3.0\" release-date=\"2026-09-14\">"
                       "<file url=\"" +
                       server.url(path).toEncoded() + "\" file-size=\"" +
                       QByteArray::number(archive.size()) +
                       "\"/></package></package-set></softwareList>");
    return archive.size();
}

/**
 * Signs what is published with softwareupdate-publish, the program @p publisher, in @p folder, and
 * publishes manifest and signatures, too. The public key, empty if that fails.
 */
QString sign(demo::UpdateServer& server, const QString& publisher, const QDir& folder)
{
    const QString package = folder.filePath(QLatin1String(packageName));
    const QString key = folder.filePath(QStringLiteral("desk"));
    QFile file(package);
    if (!file.open(QIODevice::WriteOnly) ||
        file.write(server.answer(QLatin1Char('/') + QLatin1String(packageName)).body) < 0) {
        return QString();
    }
    file.close();
    const QList<QStringList> commands{
        {QStringLiteral("keys"), QStringLiteral("--no-password"), key},
        {QStringLiteral("sign"), QStringLiteral("--key"), key + QStringLiteral(".key"),
         QStringLiteral("--release"), QStringLiteral("4.3.0"), QStringLiteral("--product"),
         QStringLiteral("Camera Desk"), QStringLiteral("--platform"), QStringLiteral("Win64"),
         package}};
    for (const QStringList& command : commands) {
        if (QProcess::execute(publisher, command) != 0) {
            return QString();
        }
    }
    for (const char* suffix : {".minisig", ".manifest", ".manifest.minisig"}) {
        const QString name = QLatin1String(packageName) + QLatin1String(suffix);
        server.setAnswer(QLatin1Char('/') + name,
                         demo::UpdateServer::page("text/plain", contents(folder.filePath(name))));
    }
    return QString::fromLatin1(contents(key + QStringLiteral(".pub")))
        .section(QLatin1Char('\n'), 1, 1);
}

struct Step
{
    qint64 time;
    QString text;
};

/** The report's lines: time, and version and step. */
QList<Step> readReport(const QString& path)
{
    QList<Step> steps;
    QFile file(path);
    if (file.open(QIODevice::ReadOnly)) {
        const QStringList lines =
            QString::fromUtf8(file.readAll()).split(QLatin1Char('\n'), Qt::SkipEmptyParts);
        for (const QString& line : lines) {
            steps.append({line.section(QLatin1Char(' '), 0, 0).toLongLong(),
                          line.section(QLatin1Char(' '), 1)});
        }
    }
    return steps;
}

qint64 timeOf(const QList<Step>& steps, const QString& text)
{
    for (const Step& step : steps) {
        if (step.text.startsWith(text)) {
            return step.time;
        }
    }
    return 0;
}

template <typename Condition>
bool waitFor(Condition isTrue, int patience)
{
    QElapsedTimer waiting;
    waiting.start();
    while (!isTrue()) {
        if (waiting.hasExpired(patience)) {
            return false;
        }
        QThread::msleep(5);
    }
    return true;
}

/** The rest of the step that begins with @p text. */
QString restOf(const QList<Step>& steps, const QString& text)
{
    for (const Step& step : steps) {
        if (step.text.startsWith(text)) {
            return step.text.mid(text.size());
        }
    }
    return QString();
}

/**
 * The process of the old version. On Windows it ends and its successors are new processes;
 * elsewhere exec turns it into UpdateInstaller.
 */
class HostProcess
{
public:
    HostProcess() = default;
    // NOLINTNEXTLINE(modernize-use-equals-default): it is not trivial on Windows
    ~HostProcess()
    {
#ifdef Q_OS_WIN
        if (m_handle) {
            ::CloseHandle(m_handle);
        }
#endif
    }
    Q_DISABLE_COPY(HostProcess)

    bool start(QProcess& process)
    {
        qint64 id = 0;
        const bool isStarted = process.startDetached(&id);
#ifdef Q_OS_WIN
        // While this handle is open, the system does not reuse the process id.
        m_handle = ::OpenProcess(SYNCHRONIZE, FALSE, static_cast<DWORD>(id));
#endif
        return isStarted;
    }
    [[nodiscard]] bool isGone() const
    {
#ifdef Q_OS_WIN
        return !m_handle || ::WaitForSingleObject(m_handle, 0) == WAIT_OBJECT_0;
#else
        return true;
#endif
    }

private:
#ifdef Q_OS_WIN
    HANDLE m_handle = nullptr;
#endif
};

struct Job
{
    QString oldHost;
    QString newHost;
    QString library;
    int megabytes = 50;
    int limit = 10'000;
    QString pictures;
    /** softwareupdate-publish; empty: nothing is signed. */
    QString publisher;
};

/** Starts the old version in @p folder; its settings, logs and temporary files go to @p root. */
bool startHost(HostProcess& process, const QDir& folder, const QDir& root, const QString& url,
               const QString& pictures, const QString& publicKey)
{
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    const QString temporary = root.filePath(QStringLiteral("tmp"));
    root.mkpath(temporary);
    for (const char* name : {"TMPDIR", "TMP", "TEMP"}) {
        environment.insert(QLatin1String(name), QDir::toNativeSeparators(temporary));
    }
    environment.insert(QStringLiteral("XDG_CACHE_HOME"), root.filePath(QStringLiteral("cache")));
    QStringList arguments{QStringLiteral("--self-update"),
                          QStringLiteral("--server-url"),
                          url,
                          QStringLiteral("--settings"),
                          root.filePath(QStringLiteral("settings.ini")),
                          QStringLiteral("--report"),
                          root.filePath(QStringLiteral("report"))};
    if (!pictures.isEmpty()) {
        arguments << QStringLiteral("--pictures") << pictures;
    }
    if (!publicKey.isEmpty()) {
        arguments << QStringLiteral("--public-key") << publicKey;
    }
    environment.insert(QStringLiteral("CAMERA_DESK_ARGUMENTS"), arguments.join(QLatin1Char('\n')));
    QProcess host;
    host.setProgram(folder.filePath(hostName));
    host.setProcessEnvironment(environment);
    host.setWorkingDirectory(folder.path());
    // Detached: it outlives this object and becomes another program.
    return process.start(host);
}

/** A temporary folder that is removed once no process uses it any more. */
class Root
{
public:
    Root() { m_dir.setAutoRemove(false); }
    ~Root()
    {
        constexpr int patience = 10'000;
        waitFor([this] { return QDir(path()).removeRecursively(); }, patience);
    }
    Q_DISABLE_COPY(Root)

    [[nodiscard]] QString path() const { return m_dir.path(); }

private:
    QTemporaryDir m_dir;
};

int run(const Job& job)
{
    const Root root;
    const QDir parent(QDir(root.path()).filePath(QStringLiteral("Prøve & 测试 dir")));
    const QDir folder(parent.filePath(QStringLiteral("Camera Desk")));
    constexpr int tenth = 50;
    const bool isSigned = !job.publisher.isEmpty();
    Payload payload{job.library, job.megabytes * 1024 * 1024};
    payload.changed = isSigned ? tenth : payload.changed;
    QList<ArchiveFile> newFiles = application(job.newHost, payload, 43);
    if (!writeFiles(folder, application(job.oldHost, payload, 42))) {
        printError(QStringLiteral("cannot write to %1").arg(folder.path()));
        return 1;
    }
    demo::UpdateServer server;
    const qint64 packageSize = publish(server, newFiles);
    const QString publicKey = isSigned ? sign(server, job.publisher, QDir(root.path())) : QString();
    if (isSigned) {
        const QString manifest = QLatin1String(packageName) + QLatin1String(".manifest");
        newFiles.append({QStringLiteral(".softwareupdate-manifest"),
                         server.answer(QLatin1Char('/') + manifest).body, false});
    }
    print(QStringLiteral("self-update of %1: %2 MiB in %3 files")
              .arg(QDir::toNativeSeparators(folder.path()))
              .arg(job.megabytes)
              .arg(newFiles.size()));

    const QString reportFile = QDir(root.path()).filePath(QStringLiteral("report"));
    const QString last = QStringLiteral("4.3.0 up to date");
    QList<Step> steps;
    HostProcess host;
    const bool isUpdated = startHost(host, folder, QDir(root.path()), server.url().toString(),
                                     job.pictures, publicKey) &&
                           waitFor(
                               [&] {
                                   steps = readReport(reportFile);
                                   return timeOf(steps, last) > 0;
                               },
                               job.limit * 2);
    for (const Step& step : qAsConst(steps)) {
        print(QStringLiteral("%1 ms  %2").arg(step.time - steps.first().time, 6).arg(step.text));
    }
    // The installer cleans up after the new version has started.
    QStringList tidy{QStringLiteral("Camera Desk"), QStringLiteral("UpdateInstaller.log")};
#ifdef Q_OS_WIN
    tidy << QStringLiteral("UpdateInstaller.retired-1"); // it cannot remove itself there
#endif
    const bool isTidy = waitFor(
        [&] {
            return parent.entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot) == tidy;
        },
        job.limit);
    const QStringList wrong = differences(folder, newFiles);
    const QString place = QStringLiteral("4.3.0 running in ");
    const bool isInPlace = restOf(steps, place) == QDir::toNativeSeparators(folder.path());
    if (!isUpdated || !isInPlace || !host.isGone() || !isTidy || !wrong.isEmpty()) {
        printError(
            QStringLiteral("self-update failed: %1, %2, %3 files differ (%4), beside the folder: "
                           "%5")
                .arg(isUpdated ? QStringLiteral("updated") : QStringLiteral("not updated"),
                     host.isGone() ? QStringLiteral("the old process has ended")
                                   : QStringLiteral("the old process still runs"))
                .arg(wrong.size())
                .arg(wrong.value(0), parent.entryList().join(QLatin1Char(' '))));
        printError(
            QString::fromUtf8(contents(parent.filePath(QStringLiteral("UpdateInstaller.log")))));
        return 1;
    }
    print(QStringLiteral("sent: %1 of %2 bytes").arg(server.sentBytes()).arg(packageSize));
    if (isSigned && server.sentBytes() > packageSize / 2) {
        printError(QStringLiteral("more was fetched than has changed"));
        return 1;
    }
    const qint64 total = timeOf(steps, last) - steps.first().time;
    const qint64 blackout = timeOf(steps, QStringLiteral("4.3.0 running")) -
                            timeOf(steps, QStringLiteral("4.2.0 Restart required"));
    print(QStringLiteral(
              "self-update: from the check to the new version's answer %1 ms, from the old "
              "version's last word to the new one's first %2 ms")
              .arg(total)
              .arg(blackout));
    if (total > job.limit) {
        printError(QStringLiteral("self-update took longer than %1 ms").arg(job.limit));
        return 1;
    }
    return 0;
}

} // namespace

int main(int argc, char* argv[])
{
    const QCoreApplication application(argc, argv);
    const QString pictures = QStringLiteral("pictures");
    const QString publisher = QStringLiteral("publisher");
    QCommandLineParser parser;
    parser.addHelpOption();
    parser.addOptions({
        {QStringLiteral("megabytes"), QStringLiteral("Size of the application's data."),
         QStringLiteral("n"), QStringLiteral("50")},
        {QStringLiteral("limit"), QStringLiteral("Fail when it takes more <ms>."),
         QStringLiteral("ms"), QStringLiteral("10000")},
        {pictures, QStringLiteral("Save a picture of the new version's window in <folder>."),
         QStringLiteral("folder")},
        {publisher, QStringLiteral("Sign the package with <program>, softwareupdate-publish."),
         QStringLiteral("program")},
    });
    parser.addPositionalArgument(QStringLiteral("files"),
                                 QStringLiteral("The old host, the new host, and the library."));
    parser.process(application);
    const QStringList files = parser.positionalArguments();
    if (files.size() != 3) {
        parser.showHelp(2);
    }
    return run(
        {files.at(0), files.at(1), files.at(2), parser.value(QStringLiteral("megabytes")).toInt(),
         parser.value(QStringLiteral("limit")).toInt(),
         parser.isSet(pictures) ? QFileInfo(parser.value(pictures)).absoluteFilePath() : QString(),
         parser.value(publisher)});
}

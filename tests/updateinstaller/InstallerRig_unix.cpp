#include "InstallerRig.h"

#include <QCryptographicHash>
#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>
#include <QtDebug>

#include <cerrno>
#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace {

void write(const QString& path, const QByteArray& contents, mode_t mode)
{
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(contents) != contents.size()) {
        qFatal("cannot write %s", qPrintable(path));
    }
    file.close();
    const QByteArray name = QFile::encodeName(path);
    // A time that a copy made today does not have by chance.
    const timespec times[2] = {{1'600'000'000, 1}, {1'600'000'000 + contents.size(), 123'456'789}};
    ::utimensat(AT_FDCWD, name.constData(), times, 0);
    ::chmod(name.constData(), mode);
}

std::vector<char*> pointers(QList<QByteArray>& texts)
{
    std::vector<char*> result;
    for (QByteArray& text : texts) {
        result.push_back(text.data());
    }
    result.push_back(nullptr);
    return result;
}

} // namespace

QString InstallerRig::placeForFiles()
{
    const QString memory = QStringLiteral("/dev/shm");
    return QFileInfo(memory).isWritable() ? memory : QDir::tempPath();
}

QString InstallerRig::sleepingProgram()
{
    return QStringLiteral("/bin/sleep");
}

QStringList InstallerRig::hold(int milliseconds)
{
    return {QStringLiteral("FAULT_HELD=Camera & Desk/camera desk"),
            QStringLiteral("FAULT_HELD_MS=%1").arg(milliseconds)};
}

void InstallerRig::makeTree(const QString& folder, const QByteArray& version)
{
    QDir().mkpath(folder + QStringLiteral("/lib/deep"));
    QDir().mkpath(folder + QStringLiteral("/empty"));
    const QByteArray shell = version == "broken" ? "#!/nowhere/sh\n" : "#!/bin/sh\n";
    write(folder + QStringLiteral("/camera desk"),
          shell + "echo \"" + version + "|$0|$PWD|$#\" 1<>\"$REPORT\"\n", 0755);
    write(folder + QStringLiteral("/read me"), version + " text", 0644);
    write(folder + QStringLiteral("/lib/libä.so"), version + " library", 0644);
    write(folder + QStringLiteral("/lib/deep/read only"), version + " data", 0444);
    const QByteArray link = QFile::encodeName(folder + QStringLiteral("/link"));
    ::chmod(QFile::encodeName(folder + QStringLiteral("/lib/deep")).constData(), 0750);
    (void)!::symlink(("lib/" + version).constData(), link.constData());
}

QByteArray InstallerRig::hashOf(const QString& folder)
{
    QStringList lines;
    QDirIterator entries(folder,
                         QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot,
                         QDirIterator::Subdirectories);
    while (entries.hasNext()) {
        const QString path = entries.next();
        struct stat status = {};
        ::lstat(QFile::encodeName(path).constData(), &status);
        QString line = path.midRef(folder.size()) + QStringLiteral(" %1").arg(status.st_mode, 0, 8);
        if (S_ISREG(status.st_mode)) {
            QFile file(path);
            (void)file.open(QIODevice::ReadOnly);
            line +=
                QStringLiteral(" %1 %2 ").arg(status.st_mtim.tv_sec).arg(status.st_mtim.tv_nsec);
            line += QString::fromUtf8(file.readAll());
        } else if (S_ISLNK(status.st_mode)) {
            line += QFileInfo(path).symLinkTarget().midRef(folder.size());
        }
        lines << line;
    }
    lines.sort();
    return QCryptographicHash::hash(lines.join(QLatin1Char('\n')).toUtf8(),
                                    QCryptographicHash::Sha256);
}

void InstallerRig::start(Build build, const QStringList& arguments, const QStringList& environment)
{
    const QString master =
        root() + (build == Build::eReal ? QStringLiteral("/real") : QStringLiteral("/faulty"));
    const QByteArray program = QFile::encodeName(parent() + QStringLiteral("/UpdateInstaller"));
    ::unlink(program.constData());
    ::link(QFile::encodeName(master).constData(), program.constData());

    // A new one for each run: a program that an earlier, killed run has started may be late.
    ::close(m_reportEnd);
    ::unlink(m_report.constData());
    m_report = QFile::encodeName(root() + QStringLiteral("/report%1").arg(++m_runs));
    ::mkfifo(m_report.constData(), 0600);
    m_reportEnd = ::open(m_report.constData(), O_RDWR | O_NONBLOCK | O_CLOEXEC);

    QList<QByteArray> texts{program};
    for (const QString& argument : arguments) {
        texts << QFile::encodeName(argument);
    }
    QList<QByteArray> settings{"REPORT=" + m_report, "PATH=/usr/bin:/bin",
                               "FAULT_PATIENCE_MS=2000"};
    for (const QString& setting : environment) {
        settings << QFile::encodeName(setting);
    }
    const auto argv = pointers(texts);
    const auto envp = pointers(settings);
    posix_spawn_file_actions_t actions;
    ::posix_spawn_file_actions_init(&actions);
    const QByteArray errors = QFile::encodeName(root() + QStringLiteral("/stderr"));
    ::posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, errors.constData(),
                                       O_WRONLY | O_CREAT | O_APPEND, 0600);
    const int error =
        ::posix_spawn(&m_process, program.constData(), &actions, nullptr, argv.data(), envp.data());
    ::posix_spawn_file_actions_destroy(&actions);
    if (error != 0) {
        qFatal("cannot start %s: %d", program.constData(), error);
    }
}

// NOLINTNEXTLINE(readability-make-member-function-const): it is not on Windows
InstallerRig::Run InstallerRig::finish()
{
    int status = 0;
    while (::waitpid(m_process, &status, 0) < 0 && errno == EINTR) {
    }
    Run result;
    result.wasKilled = WIFSIGNALED(status);
    result.code = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    return result;
}

QByteArray InstallerRig::started() const
{
    pollfd end = {m_reportEnd, POLLIN, 0};
    char text[4096];
    if (::poll(&end, 1, 5000) != 1) {
        return QByteArray();
    }
    const ssize_t length = ::read(m_reportEnd, text, sizeof text);
    return QByteArray(text, static_cast<int>(length)).split('\n').first();
}

// A stand-alone program: the initialisation order of its static objects does not matter.
// clazy:excludeall=non-pod-global-static

#include "Sandbox.h"

#include "Files.h"

#include <QCoreApplication>
#include <QDirIterator>
#include <QStorageInfo>

#include <algorithm>
#include <csignal>
#include <linux/capability.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace zk::faults {

namespace {

const QByteArray settings = "[SoftwareUpdateGroup]\n"
                            "UpdateAutomaticCheck=true\n"
                            "UpdateCheckInterval=2\n"
                            "UpdateIncludeBeta=false\n"
                            "\n"
                            "[Window]\n"
                            "Geometry=@Rect(1 2 3 4)\n"
                            "Recent=one, two, three\n";

// In a chroot it is not, and with its own mount namespace the program would not find itself there.
bool isRootMounted()
{
    QFile table(QStringLiteral("/proc/self/mountinfo"));
    (void)table.open(QIODevice::ReadOnly);
    const QList<QByteArray> lines = table.readAll().split('\n');
    constexpr int mountPoint = 4;
    return std::any_of(lines.cbegin(), lines.cend(), [](const QByteArray& line) {
        return line.split(' ').value(mountPoint) == "/";
    });
}

// In a mount namespace of our own, which ends with this process.
bool mountSmallDisk(const QByteArray& folder)
{
    return isRootMounted() && unshare(CLONE_NEWNS) == 0 &&
           mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
           mount("faults", folder.constData(), "tmpfs", MS_NOSUID | MS_NODEV, "size=512k") == 0;
}

// Read-only files must be read-only for root too.
void obeyPermissions()
{
    __user_cap_header_struct header{_LINUX_CAPABILITY_VERSION_3, 0};
    __user_cap_data_struct data[2]{};
    if (syscall(SYS_capget, &header, data) == 0) {
        data[0].effective &= ~(1U << CAP_DAC_OVERRIDE | 1U << CAP_DAC_READ_SEARCH);
        syscall(SYS_capset, &header, data);
    }
}

void limitFiles(rlim_t size)
{
    rlimit limit{};
    getrlimit(RLIMIT_FSIZE, &limit);
    limit.rlim_cur = size;
    setrlimit(RLIMIT_FSIZE, &limit);
}

} // namespace

Sandbox::Sandbox()
{
    for (const char* name : {"tmp", "small", "home", "work", "host"}) {
        QDir().mkpath(path(name));
    }
    m_hasSmallDisk = mountSmallDisk(QFile::encodeName(path("small")));
    obeyPermissions();
    // A file that is too large then makes write() fail.
    std::signal(SIGXFSZ, SIG_IGN);
    qputenv("HOME", QFile::encodeName(path("home")));
    QDir::setCurrent(path("work"));
}

Sandbox::~Sandbox()
{
    QDir::setCurrent(QStringLiteral("/"));
    if (m_hasSmallDisk) {
        umount2(QFile::encodeName(path("small")).constData(), MNT_DETACH);
    }
}

QString Sandbox::path(const char* name) const
{
    return m_root.filePath(QLatin1String(name));
}

QString Sandbox::settingsFile() const
{
    return path(m_isOnSmallDisk ? "small/settings.ini" : "host/settings.ini");
}

void Sandbox::prepare(const Plan& plan)
{
    m_isOnSmallDisk = plan.surroundings == Plan::eFullDisk && m_hasSmallDisk;
    QFile::remove(path("small/filler"));
    m_temporary = path(m_isOnSmallDisk ? "small/tmp" : "tmp");
    qputenv("TMPDIR", QFile::encodeName(m_temporary));
    qputenv("XDG_CACHE_HOME", QFile::encodeName(cache()));
    removeTemporaryFolder();
    if (plan.surroundings != Plan::eNoTemporaryFolder) {
        QDir().mkpath(m_temporary);
    }
    // Replaced, so it is not mistaken for the previous flow's file.
    QFile::remove(settingsFile());
    test::writeFile(settingsFile(), settings);
    if (m_isOnSmallDisk) {
        fillDisk(plan.room);
    } else if (plan.surroundings == Plan::eFileLimit || plan.surroundings == Plan::eFullDisk) {
        limitFiles(rlim_t(plan.room));
    }
    m_isReadOnly = plan.surroundings == Plan::eReadOnlySettings;
    if (m_isReadOnly) {
        QFile::setPermissions(settingsFile(), QFileDevice::ReadOwner);
        QFile::setPermissions(path("host"), QFileDevice::ReadOwner | QFileDevice::ExeOwner);
    }
}

void Sandbox::fillDisk(int room) const
{
    QFile filler(path("small/filler"));
    const qint64 free = QStorageInfo(path("small")).bytesAvailable();
    if (filler.open(QIODevice::WriteOnly)) {
        filler.write(QByteArray(int(qMax<qint64>(0, free - room)), 'x'));
    }
}

void Sandbox::restore()
{
    limitFiles(RLIM_INFINITY);
    QFile::setPermissions(path("host"),
                          QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner);
}

void Sandbox::removeTemporaryFolder() const
{
    QDir(m_temporary).removeRecursively();
}

QString Sandbox::cache() const
{
    return path(m_isOnSmallDisk ? "small/cache" : "cache");
}

void Sandbox::removeCache() const
{
    QDir(cache()).removeRecursively();
}

QMap<QString, Tree> Sandbox::leftovers() const
{
    QMap<QString, Tree> found;
    const auto all = QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot;
    const QFileInfoList entries = QDir(m_temporary).entryInfoList(all);
    for (const QFileInfo& entry : entries) {
        found[entry.fileName()] =
            entry.isDir() ? tree(entry.filePath())
                          : Tree{{QStringLiteral("."), test::readFile(entry.filePath())}};
    }
    return found;
}

Tree Sandbox::tree(const QString& folder)
{
    Tree files;
    QDirIterator it(folder, QDir::Files | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot,
                    QDirIterator::Subdirectories);
    while (it.hasNext()) {
        it.next();
        files[QDir(folder).relativeFilePath(it.filePath())] = test::readFile(it.filePath());
    }
    return files;
}

QStringList Sandbox::otherFiles() const
{
    QStringList found;
    const QString application = QCoreApplication::applicationDirPath();
    for (const QString& folder :
         {m_root.path(), application, QDir(application).filePath(QStringLiteral(".."))}) {
        const auto flags =
            folder == m_root.path() ? QDirIterator::Subdirectories : QDirIterator::NoIteratorFlags;
        QDirIterator it(folder, QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot, flags);
        while (it.hasNext()) {
            const QString name = it.next();
            if (!name.startsWith(path("tmp/")) && !name.startsWith(path("small/")) &&
                name != path("tmp")) {
                found << name;
            }
        }
    }
    found.sort();
    return found;
}

QString Sandbox::lostSettings() const
{
    const QByteArray now = test::readFile(settingsFile());
    if (m_isReadOnly) {
        return now == settings ? QString() : QStringLiteral("read-only settings were written");
    }
    const QList<QByteArray> lines = settings.split('\n');
    for (const QByteArray& line : lines) {
        if (!('\n' + now).contains('\n' + line + '\n')) {
            return QString::fromUtf8(line);
        }
    }
    return QString();
}

} // namespace zk::faults

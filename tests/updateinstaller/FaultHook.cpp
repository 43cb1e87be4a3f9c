// Stands between UpdateInstaller and the C library in a build for tests only: the linker's --wrap
// sends every call that changes the disk through here. The environment says what goes wrong:
//   FAULT_TRACE file        one line per call is appended to it: number, name, path
//   FAULT_POINT n           the n-th call ...
//   FAULT_AT text           or the first one with this in its name, a blank and its path ...
//   FAULT_KIND kind         ... is the last one ("before", "after") or fails with this error number
//   FAULT_NO_EXCHANGE       folders cannot be exchanged
//   FAULT_OTHER_VOLUME dir  what is below dir counts as another volume
//   FAULT_FREE bytes        free space of every volume
//   FAULT_HELD text         files with this in their path are in use ...
//   FAULT_HELD_MS n         ... for so long
// Flushing is not passed on: it changes nothing that a test could see.

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <string>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

// The names are the linker's.
// NOLINTBEGIN(bugprone-reserved-identifier)
extern "C" {
int __real_open(const char* path, int flags, ...);
ssize_t __real_write(int descriptor, const void* data, size_t size);
int __real_rename(const char* from, const char* to);
int __real_renameat2(int fromDir, const char* from, int toDir, const char* to, unsigned flags);
int __real_statvfs(const char* path, struct statvfs* status);
}

namespace {

const char* setting(const char* name)
{
    return std::getenv(name); // NOLINT(concurrency-mt-unsafe): one thread
}

long number(const char* name)
{
    const char* const text = setting(name);
    return text ? std::strtol(text, nullptr, 10) : 0;
}

void trace(long point, const char* name, const char* path)
{
    const char* const file = setting("FAULT_TRACE");
    if (!file) {
        return;
    }
    char line[4096];
    const int length = std::snprintf(line, sizeof line, "%ld %s %s\n", point, name, path);
    const int descriptor = __real_open(file, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
    (void)!__real_write(descriptor, line, static_cast<size_t>(length));
    ::close(descriptor);
}

bool isKind(const char* kind)
{
    const char* const wanted = setting("FAULT_KIND");
    return wanted && std::strcmp(wanted, kind) == 0;
}

long nextPoint()
{
    static long points = 0;
    return ++points;
}

template <typename Call>
auto changing(const char* name, const char* path, Call call) -> decltype(call())
{
    const long point = nextPoint();
    trace(point, name, path);
    const char* const text = setting("FAULT_AT");
    const bool isHit = point == number("FAULT_POINT") ||
                       (text && (std::string(name) + ' ' + path).find(text) != std::string::npos);
    if (isHit && isKind("before")) {
        std::raise(SIGKILL);
    }
    if (isHit && !isKind("after")) {
        errno = static_cast<int>(number("FAULT_KIND"));
        return -1;
    }
    const auto result = call();
    if (isHit) {
        std::raise(SIGKILL);
    }
    return result;
}

bool isOnOtherVolume(const char* path)
{
    const char* const other = setting("FAULT_OTHER_VOLUME");
    return other && std::strncmp(path, other, std::strlen(other)) == 0;
}

int failWith(int error)
{
    errno = error;
    return -1;
}

bool isHeld(const char* path)
{
    using Clock = std::chrono::steady_clock;
    static const auto start = Clock::now();
    const char* const held = setting("FAULT_HELD");
    return held && std::strstr(path, held) &&
           Clock::now() - start < std::chrono::milliseconds(number("FAULT_HELD_MS"));
}

std::string nameOf(int descriptor)
{
    const std::string link = "/proc/self/fd/" + std::to_string(descriptor);
    char path[4096];
    const ssize_t length = ::readlink(link.c_str(), path, sizeof path);
    return {path, static_cast<size_t>(length > 0 ? length : 0)};
}

} // namespace

extern "C" {

int __wrap_open(const char* path, int flags, ...)
{
    va_list arguments;
    va_start(arguments, flags);
    const auto mode = (flags & O_CREAT) != 0 ? va_arg(arguments, mode_t) : mode_t(0);
    va_end(arguments);
    if ((flags & O_CREAT) == 0) {
        const bool isProbe = (flags & O_ACCMODE) == O_WRONLY;
        return isProbe && isHeld(path) ? failWith(ETXTBSY) : __real_open(path, flags);
    }
    return changing("create", path, [&] { return __real_open(path, flags, mode); });
}

ssize_t __wrap_write(int file, const void* data, size_t size)
{
    struct stat status = {};
    if (::fstat(file, &status) != 0 || !S_ISREG(status.st_mode)) {
        return __real_write(file, data, size);
    }
    return changing("write", nameOf(file).c_str(), [&] { return __real_write(file, data, size); });
}

int __wrap_rename(const char* from, const char* to)
{
    return changing("rename", to, [&] {
        return isOnOtherVolume(from) != isOnOtherVolume(to) ? failWith(EXDEV)
                                                            : __real_rename(from, to);
    });
}

int __wrap_renameat2(int fromDir, const char* from, int toDir, const char* to, unsigned flags)
{
    return changing("exchange", to, [&] {
        return setting("FAULT_NO_EXCHANGE") ? failWith(EINVAL)
                                            : __real_renameat2(fromDir, from, toDir, to, flags);
    });
}

// Calls of which nothing but the path matters, here or by the descriptor.
#define WRAP(name, path, parameters, call)                                                         \
    int __real_##name parameters;                                                                  \
    int __wrap_##name parameters                                                                   \
    {                                                                                              \
        return changing(#name, path, [&] { return call; });                                        \
    }
WRAP(mkdir, path, (const char* path, mode_t mode), __real_mkdir(path, mode))
WRAP(unlink, path, (const char* path), __real_unlink(path))
WRAP(rmdir, path, (const char* path), __real_rmdir(path))
WRAP(chmod, path, (const char* path, mode_t mode), __real_chmod(path, mode))
WRAP(fchmod, nameOf(file).c_str(), (int file, mode_t mode), __real_fchmod(file, mode))
WRAP(futimens, nameOf(file).c_str(), (int file, const timespec* times),
     __real_futimens(file, times))
WRAP(utimensat, path, (int dir, const char* path, const timespec* times, int flags),
     __real_utimensat(dir, path, times, flags))
WRAP(symlink, path, (const char* target, const char* path), __real_symlink(target, path))
WRAP(fsync, nameOf(file).c_str(), (int file), 0)
WRAP(syncfs, nameOf(file).c_str(), (int file), 0)
#undef WRAP

int __wrap_statvfs(const char* path, struct statvfs* status)
{
    const int result = __real_statvfs(path, status);
    if (setting("FAULT_FREE")) {
        status->f_frsize = 1;
        status->f_bavail = static_cast<fsblkcnt_t>(number("FAULT_FREE"));
    }
    return result;
}
}
// NOLINTEND(bugprone-reserved-identifier)

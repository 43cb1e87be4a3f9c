#include "updateinstaller/Process.h"

#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace updateinstaller {

namespace {

std::error_code lastError()
{
    return {errno, std::system_category()};
}

void closeDescriptorsAbove(int last)
{
    std::vector<Entry> open;
    if (listFolder("/proc/self/fd", open)) {
        const long count = ::sysconf(_SC_OPEN_MAX);
        for (long i = last + 1; i < count; ++i) {
            ::close(static_cast<int>(i));
        }
        return;
    }
    for (const auto& entry : open) {
        const int descriptor =
            std::atoi(entry.name.c_str()); // NOLINT(cert-err34-c): from the kernel
        if (descriptor > last) {
            ::close(descriptor);
        }
    }
}

/** Calls only async-signal-safe functions, as required between fork and exec. Does not return. */
[[noreturn]] void becomeProgram(const char* program, const char* folder, int report)
{
    ::setsid();
    const pid_t process = ::fork();
    if (process == 0) {
        std::signal(SIGHUP, SIG_DFL);
        char* const arguments[] = {const_cast<char*>(program), nullptr};
        if (::chdir(folder) == 0) {
            ::execv(program, arguments);
        }
    }
    if (process <= 0) {
        const int error = errno;
        (void)!::write(report, &error, sizeof error);
    }
    ::_exit(0);
}

} // namespace

void leaveCaller()
{
    closeDescriptorsAbove(STDERR_FILENO);
    // Otherwise the next file opened would become the standard output.
    while (true) {
        const int descriptor =
            ::open("/dev/null", O_RDWR); // NOLINT(android-cloexec-open): for the program to come
        if (descriptor < 0) {
            break;
        }
        if (descriptor > STDERR_FILENO) {
            ::close(descriptor);
            break;
        }
    }
    std::signal(SIGHUP, SIG_IGN);
}

bool setWorkingFolder(const Path& folder)
{
    return ::chdir(folder.c_str()) == 0;
}

unsigned long processId()
{
    return static_cast<unsigned long>(::getpid());
}

Path ownFile()
{
    char target[PATH_MAX];
    const ssize_t length = ::readlink("/proc/self/exe", target, sizeof target);
    return length > 0 ? Path(target, target + length) : Path();
}

bool isOwnCopy(const Path& program, const Path& folder)
{
    return program.parent_path() == folder && program.filename() == "UpdateInstaller";
}

std::error_code startDetached(const Path& program)
{
    const Path folder = program.parent_path();
    int ends[2] = {};
    if (::pipe2(ends, O_CLOEXEC) != 0) {
        return lastError();
    }
    // Double fork, so nobody has to wait for the program.
    const pid_t process = ::fork();
    if (process == 0) {
        becomeProgram(program.c_str(), folder.c_str(), ends[1]);
    }
    const std::error_code forked = process < 0 ? lastError() : std::error_code();
    ::close(ends[1]);
    // exec closes this end of the pipe.
    int error = 0;
    ssize_t count = 0;
    do {
        count = ::read(ends[0], &error, sizeof error);
    } while (count < 0 && errno == EINTR);
    ::close(ends[0]);
    if (process > 0) {
        ::waitpid(process, nullptr, 0);
    }
    if (forked || count <= 0) {
        return forked;
    }
    return {error, std::system_category()};
}

std::error_code retireProgram(const Path& program)
{
    return removeFile(program);
}

void removeRetiredPrograms(const Path&)
{
    // Nothing to do: running programs can be removed here.
}

} // namespace updateinstaller

#include "updateinstaller/FileSystem.h"

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <dirent.h>
#include <fcntl.h>
#include <memory>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

namespace updateinstaller {

namespace {

std::error_code errorOf(int result)
{
    return result < 0 ? std::error_code(errno, std::system_category()) : std::error_code();
}

/** Closes a descriptor at the end of a scope and preserves errno. */
class Descriptor
{
public:
    explicit Descriptor(int descriptor)
        : m_descriptor(descriptor)
    {
    }
    ~Descriptor()
    {
        if (m_descriptor >= 0) {
            const int error = errno;
            ::close(m_descriptor);
            errno = error;
        }
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;

    [[nodiscard]] int get() const { return m_descriptor; }
    [[nodiscard]] bool isOpen() const { return m_descriptor >= 0; }

private:
    int m_descriptor;
};

Kind kindOfMode(mode_t mode)
{
    if (S_ISREG(mode)) {
        return Kind::eFile;
    }
    if (S_ISDIR(mode)) {
        return Kind::eFolder;
    }
    return S_ISLNK(mode) ? Kind::eLink : Kind::eOther;
}

std::error_code writeAll(int descriptor, std::string_view contents)
{
    while (!contents.empty()) {
        const ssize_t written = ::write(descriptor, contents.data(), contents.size());
        if (written < 0 && errno != EINTR) {
            return errorOf(-1);
        }
        contents.remove_prefix(written > 0 ? static_cast<std::size_t>(written) : 0);
    }
    return {};
}

std::error_code copyContents(int from, int to)
{
    constexpr std::size_t chunk = 1 << 20;
    const auto buffer = std::make_unique<char[]>(chunk);
    for (;;) {
        const ssize_t count = ::read(from, buffer.get(), chunk);
        if (count == 0) {
            return {};
        }
        if (count < 0 && errno != EINTR) {
            return errorOf(-1);
        }
        if (count > 0) {
            const auto error = writeAll(to, {buffer.get(), static_cast<std::size_t>(count)});
            if (error) {
                return error;
            }
        }
    }
}

} // namespace

Kind kindOf(const Path& path)
{
    struct stat status = {};
    if (::lstat(path.c_str(), &status) == 0) {
        return kindOfMode(status.st_mode);
    }
    return errno == ENOENT || errno == ENOTDIR ? Kind::eNothing : Kind::eOther;
}

Identity identityOf(const Path& path)
{
    struct stat status = {};
    if (::lstat(path.c_str(), &status) != 0) {
        return {};
    }
    Identity identity{status.st_dev, status.st_ino, 0};
#ifdef STATX_BTIME
    struct statx extended = {};
    if (::statx(AT_FDCWD, path.c_str(), AT_SYMLINK_NOFOLLOW, STATX_BTIME, &extended) == 0 &&
        (extended.stx_mask & STATX_BTIME) != 0) {
        identity.birth = static_cast<std::uint64_t>(extended.stx_btime.tv_sec) * 1'000'000'000 +
                         extended.stx_btime.tv_nsec;
    }
#endif
    return identity;
}

bool isAbsolute(const Path& path)
{
    return path.is_absolute();
}

bool isRoot(const Path& path)
{
    return path.lexically_normal() == path.root_path();
}

bool isBareName(const Path& name)
{
    return !name.empty() && name != "." && name != ".." &&
           name.native().find('/') == NativeString::npos;
}

std::string toText(const Path& path)
{
    return path.native();
}

bool isProgram(const Path& file)
{
    struct stat status = {};
    return ::stat(file.c_str(), &status) == 0 && S_ISREG(status.st_mode) &&
           ::access(file.c_str(), X_OK) == 0;
}

Path resolved(const Path& path)
{
    Path plain = path.lexically_normal();
    if (!plain.has_filename()) {
        plain = plain.parent_path();
    }
    const auto real = [](const Path& existing) {
        const std::unique_ptr<char, decltype(&std::free)> text(
            ::realpath(existing.c_str(), nullptr), &std::free);
        return text ? Path(text.get()) : Path();
    };
    if (Path whole = real(plain); !whole.empty()) {
        return whole;
    }
    const Path parent = real(plain.parent_path());
    return parent.empty() ? plain : parent / plain.filename();
}

std::error_code listFolder(const Path& folder, std::vector<Entry>& entries)
{
    entries.clear();
    const std::unique_ptr<DIR, int (*)(DIR*)> stream(::opendir(folder.c_str()), &::closedir);
    if (!stream) {
        return errorOf(-1);
    }
    for (;;) {
        errno = 0;
        // Safe: there is one thread and one stream.
        const dirent* const entry = ::readdir(stream.get()); // NOLINT(concurrency-mt-unsafe)
        if (!entry) {
            return errno == 0 ? std::error_code() : errorOf(-1);
        }
        const Path name(entry->d_name);
        if (name != "." && name != "..") {
            entries.push_back({name, kindOf(folder / name)});
        }
    }
}

std::error_code readFile(const Path& path, std::string& contents)
{
    contents.clear();
    const Descriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW));
    if (!file.isOpen()) {
        return errorOf(-1);
    }
    char buffer[4096];
    for (;;) {
        const ssize_t count = ::read(file.get(), buffer, sizeof buffer);
        if (count <= 0) {
            return errorOf(static_cast<int>(count));
        }
        contents.append(buffer, static_cast<std::size_t>(count));
    }
}

std::uint64_t sizeOf(const Path& file)
{
    struct stat status = {};
    return ::lstat(file.c_str(), &status) == 0 ? static_cast<std::uint64_t>(status.st_size) : 0;
}

std::error_code freeSpace(const Path& folder, std::uint64_t& bytes)
{
    struct statvfs status = {};
    const auto error = errorOf(::statvfs(folder.c_str(), &status));
    bytes = static_cast<std::uint64_t>(status.f_bavail) * status.f_frsize;
    return error;
}

std::error_code probeExclusive(const Path& file)
{
    // Open files can be renamed here; only a program that is still running matters, and that cannot
    // be opened for writing. Nothing is written.
    struct stat status = {};
    if (::lstat(file.c_str(), &status) != 0 || (status.st_mode & 0111) == 0) {
        return {};
    }
    const Descriptor probe(::open(file.c_str(), O_WRONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK));
    if (probe.isOpen() || errno != ETXTBSY) {
        return {};
    }
    return errorOf(-1);
}

std::string holderOf(const Path& file)
{
    std::vector<Entry> processes;
    if (listFolder("/proc", processes)) {
        return {};
    }
    for (const auto& process : processes) {
        char target[PATH_MAX];
        const Path link = Path("/proc") / process.name / "exe";
        const ssize_t length = ::readlink(link.c_str(), target, sizeof target);
        if (length > 0 && file == Path(target, target + length)) {
            return "process " + process.name.native();
        }
    }
    return {};
}

bool isTransient(std::error_code error)
{
    const int code = error.value();
    return code == EACCES || code == EPERM || code == EBUSY || code == ETXTBSY || code == EAGAIN ||
           code == EINTR;
}

bool isOtherVolume(std::error_code error)
{
    return error.value() == EXDEV;
}

bool isExchangeUnsupported(std::error_code error)
{
    const int code = error.value();
    return code == EINVAL || code == ENOSYS || code == EOPNOTSUPP;
}

std::error_code makeFolder(const Path& folder)
{
    return errorOf(::mkdir(folder.c_str(), 0755));
}

std::error_code moveFolder(const Path& from, const Path& to)
{
    return errorOf(::rename(from.c_str(), to.c_str()));
}

std::error_code replaceFile(const Path& from, const Path& to)
{
    return errorOf(::rename(from.c_str(), to.c_str()));
}

std::error_code exchangeFolders(const Path& one, const Path& other)
{
#ifdef RENAME_EXCHANGE
    return errorOf(::renameat2(AT_FDCWD, one.c_str(), AT_FDCWD, other.c_str(), RENAME_EXCHANGE));
#else
    (void)one;
    (void)other;
    return {ENOSYS, std::system_category()};
#endif
}

std::error_code removeFile(const Path& path)
{
    return errorOf(::unlink(path.c_str()));
}

std::error_code removeFolder(const Path& folder)
{
    return errorOf(::rmdir(folder.c_str()));
}

void unlockFolder(const Path& folder)
{
    struct stat status = {};
    if (::lstat(folder.c_str(), &status) == 0 && (status.st_mode & 0700) != 0700) {
        // If this fails, so does the removal, which is reported.
        (void)::chmod(folder.c_str(), (status.st_mode & 07777) | 0700);
    }
}

std::error_code writeNewFile(const Path& path, std::string_view contents)
{
    const Descriptor file(
        ::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW, 0644));
    if (!file.isOpen()) {
        return errorOf(-1);
    }
    const auto error = writeAll(file.get(), contents);
    return error ? error : errorOf(::fsync(file.get()));
}

std::error_code appendToFile(const Path& path, std::string_view contents)
{
    const Descriptor file(
        ::open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC | O_NOFOLLOW, 0644));
    return file.isOpen() ? writeAll(file.get(), contents) : errorOf(-1);
}

std::error_code copyFile(const Path& from, const Path& to)
{
    const Descriptor source(::open(from.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW));
    struct stat status = {};
    if (!source.isOpen() || ::fstat(source.get(), &status) != 0) {
        return errorOf(-1);
    }
    const Descriptor target(
        ::open(to.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW, 0600));
    if (!target.isOpen()) {
        return errorOf(-1);
    }
    if (const auto error = copyContents(source.get(), target.get())) {
        return error;
    }
    if (::fchmod(target.get(), status.st_mode & 07777) != 0) {
        return errorOf(-1);
    }
    const timespec times[2] = {status.st_atim, status.st_mtim};
    return errorOf(::futimens(target.get(), times));
}

std::error_code copyLink(const Path& from, const Path& to)
{
    char target[PATH_MAX + 1];
    const ssize_t length = ::readlink(from.c_str(), target, PATH_MAX);
    if (length < 0) {
        return errorOf(-1);
    }
    target[length] = '\0';
    return errorOf(::symlink(target, to.c_str()));
}

std::error_code copyFolderAttributes(const Path& from, const Path& to)
{
    struct stat status = {};
    if (::lstat(from.c_str(), &status) != 0 || ::chmod(to.c_str(), status.st_mode & 07777) != 0) {
        return errorOf(-1);
    }
    const timespec times[2] = {status.st_atim, status.st_mtim};
    return errorOf(::utimensat(AT_FDCWD, to.c_str(), times, AT_SYMLINK_NOFOLLOW));
}

std::error_code flushFolder(const Path& folder)
{
    const Descriptor descriptor(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    return descriptor.isOpen() ? errorOf(::fsync(descriptor.get())) : errorOf(-1);
}

std::error_code flushTree(const Path& folder)
{
    // One call for the whole volume: flushing hundreds of new files one by one would wait for the
    // disk each time.
    const Descriptor descriptor(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    return descriptor.isOpen() ? errorOf(::syncfs(descriptor.get())) : errorOf(-1);
}

} // namespace updateinstaller

#include "updateinstaller/FolderLock.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace updateinstaller {

namespace {

/** False if the file was removed or replaced between opening and locking. */
bool isStillNamed(const Path& file, int descriptor)
{
    struct stat opened = {};
    struct stat named = {};
    return ::fstat(descriptor, &opened) == 0 && ::lstat(file.c_str(), &named) == 0 &&
           opened.st_dev == named.st_dev && opened.st_ino == named.st_ino;
}

} // namespace

FolderLock::~FolderLock()
{
    if (m_handle >= 0) {
        // Removed while still locked: after unlocking it may belong to another process.
        ::unlink(m_file.c_str());
        ::close(static_cast<int>(m_handle));
    }
}

FolderLock::Result FolderLock::acquire(const Path& folder, std::error_code& error)
{
    m_file = folder / "UpdateInstaller.lock";
    for (;;) {
        const int descriptor =
            ::open(m_file.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600);
        if (descriptor < 0) {
            error = {errno, std::system_category()};
            return Result::eFailed;
        }
        // A lock of this process only: if children shared it, it would outlive a killed holder in
        // the child that becomes the application.
        struct flock whole = {};
        whole.l_type = F_WRLCK;
        whole.l_whence = SEEK_SET;
        const bool isLocked = ::fcntl(descriptor, F_SETLK, &whole) == 0;
        const int reason = errno;
        if (isLocked && isStillNamed(m_file, descriptor)) {
            m_handle = descriptor;
            return Result::eHeld;
        }
        ::close(descriptor);
        if (!isLocked) {
            error = {reason, std::system_category()};
            return reason == EAGAIN || reason == EACCES ? Result::eBusy : Result::eFailed;
        }
    }
}

} // namespace updateinstaller

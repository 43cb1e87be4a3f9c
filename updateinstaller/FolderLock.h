#pragma once

#include "updateinstaller/FileSystem.h"

#include <cstdint>

namespace updateinstaller {

/**
 * Inter-process lock of a folder: a file in it, opened exclusively and removed at the end. The
 * system releases the lock when its holder dies, so a file left by a crash blocks nobody.
 */
class FolderLock
{
public:
    enum class Result {
        eHeld,
        eBusy, //!< held by another process
        eFailed,
    };

    FolderLock() = default;
    ~FolderLock();
    FolderLock(const FolderLock&) = delete;
    FolderLock& operator=(const FolderLock&) = delete;

    /** Does not wait. @p error has the details of eFailed. */
    [[nodiscard]] Result acquire(const Path& folder, std::error_code& error);

private:
    Path m_file;
    std::intptr_t m_handle = -1;
};

} // namespace updateinstaller

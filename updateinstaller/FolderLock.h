#pragma once

#include "updateinstaller/FileSystem.h"

#include <cstdint>

namespace updateinstaller {

/**
 * Lets one process at a time work in a folder: a file in it, opened exclusively and removed at the
 * end. The system gives the lock back when its holder dies, so that a file left by a crash stops
 * nobody.
 */
class FolderLock
{
public:
    enum class Result {
        eHeld,
        eBusy, //!< somebody else has it
        eFailed,
    };

    FolderLock() = default;
    ~FolderLock();
    FolderLock(const FolderLock&) = delete;
    FolderLock& operator=(const FolderLock&) = delete;

    /** Does not wait. @p error tells more about eFailed. */
    [[nodiscard]] Result acquire(const Path& folder, std::error_code& error);

private:
    Path m_file;
    std::intptr_t m_handle = -1;
};

} // namespace updateinstaller

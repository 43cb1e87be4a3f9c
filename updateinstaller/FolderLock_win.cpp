#include "updateinstaller/FolderLock.h"

#include "updateinstaller/WindowsFile_win.h"

namespace updateinstaller {

FolderLock::~FolderLock()
{
    if (m_handle != -1) {
        ::CloseHandle(reinterpret_cast<HANDLE>(m_handle)); // NOLINT(performance-no-int-to-ptr)
    }
}

FolderLock::Result FolderLock::acquire(const Path& folder, std::error_code& error)
{
    m_file = folder / "UpdateInstaller.lock";
    const HANDLE file =
        ::CreateFileW(longForm(m_file).c_str(), GENERIC_WRITE | DELETE, 0, nullptr, OPEN_ALWAYS,
                      FILE_ATTRIBUTE_NORMAL | FILE_FLAG_DELETE_ON_CLOSE, nullptr);
    if (file != INVALID_HANDLE_VALUE) {
        m_handle = reinterpret_cast<std::intptr_t>(file);
        return Result::eHeld;
    }
    error = {static_cast<int>(::GetLastError()), std::system_category()};
    return error.value() == ERROR_SHARING_VIOLATION ? Result::eBusy : Result::eFailed;
}

} // namespace updateinstaller

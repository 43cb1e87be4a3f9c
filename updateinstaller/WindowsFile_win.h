#pragma once

#include "updateinstaller/FileSystem.h"

#include <windows.h>

/** Helpers for the Windows-specific files of this program. */
namespace updateinstaller {

/** The "\\?\" form, for paths of any length, which Windows does not normalise. */
[[nodiscard]] std::wstring longForm(const Path& path);
/** The usual form, for messages. */
[[nodiscard]] std::wstring shortForm(const std::wstring& text);

[[nodiscard]] std::error_code lastError();
/** No error for a call that succeeded, otherwise lastError(). */
[[nodiscard]] std::error_code errorOf(BOOL result);

/** Closes a handle at the end of a scope and preserves the last error. */
class Handle
{
public:
    explicit Handle(HANDLE handle)
        : m_handle(handle)
    {
    }
    ~Handle()
    {
        if (isOpen()) {
            const DWORD error = ::GetLastError();
            ::CloseHandle(m_handle);
            ::SetLastError(error);
        }
    }
    Handle(const Handle&) = delete;
    Handle& operator=(const Handle&) = delete;

    [[nodiscard]] HANDLE get() const { return m_handle; }
    [[nodiscard]] bool isOpen() const { return m_handle != INVALID_HANDLE_VALUE; }

private:
    HANDLE m_handle;
};

constexpr DWORD shareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;

/** CreateFileW() with the arguments common to all calls. Opens links instead of following them. */
[[nodiscard]] HANDLE openFile(const Path& path, DWORD access, DWORD share, DWORD disposition,
                              DWORD flags = 0);

} // namespace updateinstaller

#pragma once

#include "updateinstaller/FileSystem.h"

#include <windows.h>

/** What every file of this program that talks to Windows needs. */
namespace updateinstaller {

/** The form in which Windows takes paths of any length and changes nothing about them. */
[[nodiscard]] std::wstring longForm(const Path& path);
/** The form that people know. */
[[nodiscard]] std::wstring shortForm(const std::wstring& text);

[[nodiscard]] std::error_code lastError();
/** None for a call that succeeded, else lastError(). */
[[nodiscard]] std::error_code errorOf(BOOL result);

/** Closes an open file at the end of a scope, without touching the last error. */
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

/** CreateFileW() with what is the same in all calls. Links are opened, not followed. */
[[nodiscard]] HANDLE openFile(const Path& path, DWORD access, DWORD share, DWORD disposition,
                              DWORD flags = 0);

} // namespace updateinstaller

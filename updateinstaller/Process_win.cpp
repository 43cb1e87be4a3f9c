#include "updateinstaller/Process.h"

#include "updateinstaller/WindowsFile_win.h"

#include <cstdlib>
#include <cwchar>
#include <io.h>
#include <vector>

namespace updateinstaller {

namespace {

const wchar_t* const programName = L"UpdateInstaller";
const wchar_t* const retiredName = L"UpdateInstaller.retired-";

// Invalid descriptors are expected below and must not end the program.
void ignoreInvalidParameter(const wchar_t*, const wchar_t*, const wchar_t*, unsigned,
                            std::uintptr_t)
{
}

HANDLE handleOf(std::uintptr_t value)
{
    return reinterpret_cast<HANDLE>(value); // NOLINT(performance-no-int-to-ptr)
}

bool isInheritable(HANDLE handle, DWORD& flags)
{
    return ::GetHandleInformation(handle, &flags) && (flags & HANDLE_FLAG_INHERIT) != 0;
}

bool isStandardStream(HANDLE handle)
{
    return handle == ::GetStdHandle(STD_INPUT_HANDLE) ||
           handle == ::GetStdHandle(STD_OUTPUT_HANDLE) ||
           handle == ::GetStdHandle(STD_ERROR_HANDLE);
}

/** Inheritable handles of open files and folders, i.e. those that may have been inherited. */
std::vector<HANDLE> inheritableFiles()
{
    // Handles are multiples of four; inherited ones keep the caller's numbers, so there are gaps.
    constexpr std::uintptr_t step = 4;
    constexpr std::uintptr_t last = step * 0x10000;
    DWORD unseen = 0;
    // Shortens the loop; Wine returns 0.
    if (!::GetProcessHandleCount(::GetCurrentProcess(), &unseen) || unseen == 0) {
        unseen = last;
    }
    std::vector<HANDLE> files;
    for (std::uintptr_t value = step; value <= last && unseen > 0; value += step) {
        const HANDLE handle = handleOf(value);
        DWORD flags = 0;
        if (!::GetHandleInformation(handle, &flags)) {
            continue;
        }
        --unseen;
        if ((flags & HANDLE_FLAG_INHERIT) != 0 && !isStandardStream(handle) &&
            ::GetFileType(handle) == FILE_TYPE_DISK) {
            files.push_back(handle);
        }
    }
    return files;
}

/**
 * Closes the files and folders that the caller had open. There is always one: Windows opens the
 * working folder of every process with an inheritable handle, and an open folder cannot be renamed.
 */
void closeInheritedFiles()
{
    const std::vector<HANDLE> files = inheritableFiles();
    wchar_t elsewhere[MAX_PATH] = L"";
    if (::GetSystemDirectoryW(elsewhere, MAX_PATH) == 0 || !::SetCurrentDirectoryW(elsewhere)) {
        return;
    }
    // Only this process's own working folder was still needed, and it has just been replaced by
    // another, which was opened before the old one was closed and so is not listed.
    for (const HANDLE handle : files) {
        DWORD flags = 0;
        if (isInheritable(handle, flags)) {
            ::CloseHandle(handle);
        }
    }
}

} // namespace

void leaveCaller()
{
    constexpr int mostDescriptors = 2048; // the C runtime's own limit
    ::_set_invalid_parameter_handler(&ignoreInvalidParameter);
    for (int descriptor = 3; descriptor < mostDescriptors; ++descriptor) {
        ::_close(descriptor);
    }
    closeInheritedFiles();
    // Otherwise the console's own process would keep running in the working folder of the caller.
    ::FreeConsole();
}

bool setWorkingFolder(const Path& folder)
{
    return ::SetCurrentDirectoryW(folder.c_str()) != 0;
}

unsigned long processId()
{
    return ::GetCurrentProcessId();
}

Path ownFile()
{
    std::wstring name(32768, L'\0');
    name.resize(::GetModuleFileNameW(nullptr, name.data(), static_cast<DWORD>(name.size())));
    return resolved(name);
}

bool isOwnCopy(const Path& program, const Path& folder)
{
    return ::_wcsicmp(program.parent_path().c_str(), folder.c_str()) == 0 &&
           ::_wcsicmp(program.filename().c_str(), programName) == 0;
}

std::error_code startDetached(const Path& program)
{
    // A path contains no quotes and does not end with a backslash, so these two are sufficient.
    const std::wstring command = L'"' + program.native() + L'"';
    const std::wstring image =
        program.native().size() < MAX_PATH ? program.native() : longForm(program);
    const Path folder = program.parent_path();
    // Outside the caller's job if possible: a job may be terminated with its first process.
    for (const DWORD extra : {static_cast<DWORD>(CREATE_BREAKAWAY_FROM_JOB), DWORD(0)}) {
        STARTUPINFOW startup = {};
        startup.cb = sizeof startup;
        PROCESS_INFORMATION process = {};
        std::wstring line = command;
        if (::CreateProcessW(image.c_str(), line.data(), nullptr, nullptr, FALSE,
                             DETACHED_PROCESS | CREATE_NEW_PROCESS_GROUP | extra, nullptr,
                             folder.c_str(), &startup, &process)) {
            ::CloseHandle(process.hThread);
            ::CloseHandle(process.hProcess);
            return {};
        }
    }
    return lastError();
}

std::error_code retireProgram(const Path& program)
{
    std::error_code error;
    for (int i = 1; i < 100; ++i) {
        const Path name = program.parent_path() / (retiredName + std::to_wstring(i));
        if (kindOf(name) == Kind::eNothing) {
            error = moveFolder(program, name);
            break;
        }
    }
    return error;
}

void removeRetiredPrograms(const Path& folder)
{
    std::vector<Entry> entries;
    if (listFolder(folder, entries)) {
        return;
    }
    for (const auto& entry : entries) {
        if (entry.kind == Kind::eFile && entry.name.native().rfind(retiredName, 0) == 0) {
            // Still running: the next run will remove it.
            (void)removeFile(folder / entry.name);
        }
    }
}

} // namespace updateinstaller

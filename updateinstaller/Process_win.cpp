#include "updateinstaller/Process.h"

#include "updateinstaller/WindowsFile_win.h"

#include <cstdlib>
#include <cwchar>
#include <io.h>

namespace updateinstaller {

namespace {

const wchar_t* const programName = L"UpdateInstaller";
const wchar_t* const retiredName = L"UpdateInstaller.retired-";

// An invalid number is expected below and no reason to end the program.
void ignoreInvalidParameter(const wchar_t*, const wchar_t*, const wchar_t*, unsigned,
                            std::uintptr_t)
{
}

} // namespace

void leaveCaller()
{
    constexpr int mostDescriptors = 2048; // the C runtime's own limit
    ::_set_invalid_parameter_handler(&ignoreInvalidParameter);
    for (int descriptor = 3; descriptor < mostDescriptors; ++descriptor) {
        ::_close(descriptor);
    }
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
    // A path holds no quotes and does not end in a backslash, so that these two suffice.
    const std::wstring command = L'"' + program.native() + L'"';
    const std::wstring image =
        program.native().size() < MAX_PATH ? program.native() : longForm(program);
    const Path folder = program.parent_path();
    // Out of the caller's job where that is allowed: a job may end with its first process.
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
            // Still running: the run after this one will find it.
            (void)removeFile(folder / entry.name);
        }
    }
}

} // namespace updateinstaller

#include "updateinstaller/FileSystem.h"

#include "updateinstaller/WindowsFile_win.h"

#include <algorithm>
#include <windows.h>

#include <restartmanager.h>

namespace updateinstaller {

namespace {

bool isLink(DWORD attributes, DWORD tag)
{
    return (attributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0 && IsReparseTagNameSurrogate(tag);
}

Kind kindOfAttributes(DWORD attributes, DWORD tag)
{
    if (isLink(attributes, tag)) {
        return Kind::eLink;
    }
    return (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0 ? Kind::eFolder : Kind::eFile;
}

bool isSharing(DWORD error)
{
    return error == ERROR_SHARING_VIOLATION || error == ERROR_LOCK_VIOLATION ||
           error == ERROR_USER_MAPPED_FILE;
}

template <typename Function>
Function function(HMODULE library, const char* name)
{
    // GetProcAddress() returns one type for all functions.
    return library ? reinterpret_cast<Function>(
                         reinterpret_cast<void*>(::GetProcAddress(library, name)))
                   : nullptr;
}

} // namespace

Kind kindOf(const Path& path)
{
    WIN32_FIND_DATAW data = {};
    if (isRoot(path)) {
        return ::GetFileAttributesW(longForm(path).c_str()) == INVALID_FILE_ATTRIBUTES
                   ? Kind::eOther
                   : Kind::eFolder;
    }
    const HANDLE search = ::FindFirstFileW(longForm(path).c_str(), &data);
    if (search != INVALID_HANDLE_VALUE) {
        ::FindClose(search);
        return kindOfAttributes(data.dwFileAttributes, data.dwReserved0);
    }
    const DWORD error = ::GetLastError();
    return error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND ? Kind::eNothing
                                                                          : Kind::eOther;
}

Identity identityOf(const Path& path)
{
    const Handle file(
        openFile(path, FILE_READ_ATTRIBUTES, shareAll, OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS));
    BY_HANDLE_FILE_INFORMATION info = {};
    if (!file.isOpen() || !::GetFileInformationByHandle(file.get(), &info)) {
        return {};
    }
    // The file number includes a reuse count, so the creation time is not needed.
    const auto high = static_cast<std::uint64_t>(info.nFileIndexHigh) << 32;
    return {info.dwVolumeSerialNumber, high | info.nFileIndexLow, 0};
}

bool isAbsolute(const Path& path)
{
    const std::wstring text = shortForm(path.native());
    const auto isSeparator = [](wchar_t c) { return c == L'\\' || c == L'/'; };
    // Windows would expand wildcards.
    if (text.size() < 3 || text.find_first_of(LR"(*?"<>|)") != std::wstring::npos) {
        return false;
    }
    const bool isDrive = text[1] == L':' && isSeparator(text[2]);
    return isDrive || (isSeparator(text[0]) && isSeparator(text[1]) && !isSeparator(text[2]));
}

bool isRoot(const Path& path)
{
    std::wstring text = shortForm(path.native());
    std::replace(text.begin(), text.end(), L'/', L'\\');
    while (!text.empty() && text.back() == L'\\') {
        text.pop_back();
    }
    if (text.rfind(LR"(\\)", 0) != 0) {
        return text.size() <= 2; // "C:"
    }
    // The share is the root: \\server\share
    const auto server = text.find(L'\\', 2);
    return server == std::wstring::npos || text.find(L'\\', server + 1) == std::wstring::npos;
}

bool isBareName(const Path& name)
{
    const std::wstring& text = name.native();
    // Windows removes trailing dots and blanks, so it would find a program with another name.
    return !text.empty() && text.find_first_of(LR"(\/:*?"<>|)") == std::wstring::npos &&
           text.back() != L'.' && text.back() != L' ';
}

bool isProgram(const Path& file)
{
    const DWORD attributes = ::GetFileAttributesW(longForm(file).c_str());
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) == 0;
}

std::string toText(const Path& path)
{
    const std::wstring& wide = path.native();
    const int size = static_cast<int>(wide.size());
    const int length =
        ::WideCharToMultiByte(CP_UTF8, 0, wide.data(), size, nullptr, 0, nullptr, nullptr);
    std::string text(static_cast<std::size_t>(length), '\0');
    ::WideCharToMultiByte(CP_UTF8, 0, wide.data(), size, text.data(), length, nullptr, nullptr);
    return text;
}

Path resolved(const Path& path)
{
    const std::wstring given = shortForm(path.native());
    std::wstring full(::GetFullPathNameW(given.c_str(), 0, nullptr, nullptr), L'\0');
    full.resize(
        ::GetFullPathNameW(given.c_str(), static_cast<DWORD>(full.size()), full.data(), nullptr));
    while (!full.empty() && (full.back() == L'\\' || full.back() == L'/') && !isRoot(full)) {
        full.pop_back();
    }
    const auto real = [](const Path& existing) {
        const std::wstring text = longForm(existing);
        std::wstring name(::GetLongPathNameW(text.c_str(), nullptr, 0), L'\0');
        name.resize(::GetLongPathNameW(text.c_str(), name.data(), static_cast<DWORD>(name.size())));
        const Path found(shortForm(name));
        // The folder is renamed at the end; preserve the case of its name on the disk.
        WIN32_FIND_DATAW data = {};
        const HANDLE search = ::FindFirstFileW(longForm(found).c_str(), &data);
        if (search == INVALID_HANDLE_VALUE) {
            return found;
        }
        ::FindClose(search);
        return found.parent_path() / data.cFileName;
    };
    if (Path whole = real(full); !whole.empty()) {
        return whole;
    }
    const Path parent = real(Path(full).parent_path());
    return parent.empty() ? Path(full) : parent / Path(full).filename();
}

std::error_code listFolder(const Path& folder, std::vector<Entry>& entries)
{
    entries.clear();
    WIN32_FIND_DATAW data = {};
    const HANDLE search = ::FindFirstFileW((longForm(folder) + LR"(\*)").c_str(), &data);
    if (search == INVALID_HANDLE_VALUE) {
        return lastError();
    }
    do {
        const std::wstring name = data.cFileName;
        if (name != L"." && name != L"..") {
            entries.push_back({name, kindOfAttributes(data.dwFileAttributes, data.dwReserved0)});
        }
    } while (::FindNextFileW(search, &data));
    const std::error_code error = lastError();
    ::FindClose(search);
    return error.value() == ERROR_NO_MORE_FILES ? std::error_code() : error;
}

std::error_code readFile(const Path& path, std::string& contents)
{
    contents.clear();
    const Handle file(openFile(path, GENERIC_READ, shareAll, OPEN_EXISTING));
    if (!file.isOpen()) {
        return lastError();
    }
    char buffer[4096];
    DWORD count = 0;
    do {
        if (!::ReadFile(file.get(), buffer, sizeof buffer, &count, nullptr)) {
            return lastError();
        }
        contents.append(buffer, count);
    } while (count > 0);
    return {};
}

std::uint64_t sizeOf(const Path& file)
{
    WIN32_FILE_ATTRIBUTE_DATA data = {};
    if (!::GetFileAttributesExW(longForm(file).c_str(), GetFileExInfoStandard, &data)) {
        return 0;
    }
    return static_cast<std::uint64_t>(data.nFileSizeHigh) << 32 | data.nFileSizeLow;
}

std::error_code freeSpace(const Path& folder, std::uint64_t& bytes)
{
    ULARGE_INTEGER available = {};
    const auto error =
        errorOf(::GetDiskFreeSpaceExW(longForm(folder).c_str(), &available, nullptr, nullptr));
    bytes = available.QuadPart;
    return error;
}

std::error_code probeExclusive(const Path& file)
{
    // With write access, because a running program can still be opened for reading.
    for (const DWORD access : {GENERIC_READ | GENERIC_WRITE | DELETE, GENERIC_READ | DELETE}) {
        const Handle probe(openFile(file, static_cast<DWORD>(access), 0, OPEN_EXISTING));
        if (probe.isOpen()) {
            return {};
        }
        if (isSharing(::GetLastError())) {
            return lastError();
        }
    }
    // No access, or removed: renaming the folder will show whether that matters.
    return {};
}

std::string holderOf(const Path& file)
{
    // Loaded explicitly from the system folder: an imported DLL would be searched beside the
    // program first.
    const HMODULE library =
        ::LoadLibraryExW(L"rstrtmgr.dll", nullptr, LOAD_LIBRARY_SEARCH_SYSTEM32);
    const auto start = function<decltype(&::RmStartSession)>(library, "RmStartSession");
    const auto add = function<decltype(&::RmRegisterResources)>(library, "RmRegisterResources");
    const auto list = function<decltype(&::RmGetList)>(library, "RmGetList");
    const auto end = function<decltype(&::RmEndSession)>(library, "RmEndSession");
    DWORD session = 0;
    WCHAR key[CCH_RM_SESSION_KEY + 1] = {};
    if (!start || !add || !list || !end || start(&session, 0, key) != ERROR_SUCCESS) {
        return {};
    }
    LPCWSTR names[] = {file.c_str()};
    RM_PROCESS_INFO processes[4] = {};
    UINT count = 4;
    UINT needed = 0;
    DWORD reasons = 0;
    std::string holder;
    if (add(session, 1, names, 0, nullptr, 0, nullptr) == ERROR_SUCCESS &&
        list(session, &needed, &count, processes, &reasons) == ERROR_SUCCESS && count > 0) {
        holder = toText(processes[0].strAppName) + ", process " +
                 std::to_string(processes[0].Process.dwProcessId);
    }
    end(session);
    return holder;
}

bool isTransient(std::error_code error)
{
    const auto code = static_cast<DWORD>(error.value());
    return isSharing(code) || code == ERROR_ACCESS_DENIED || code == ERROR_BUSY ||
           code == ERROR_DELETE_PENDING || code == ERROR_DIR_NOT_EMPTY;
}

bool isOtherVolume(std::error_code error)
{
    return error.value() == ERROR_NOT_SAME_DEVICE;
}

bool isExchangeUnsupported(std::error_code error)
{
    return error.value() == ERROR_NOT_SUPPORTED;
}

} // namespace updateinstaller

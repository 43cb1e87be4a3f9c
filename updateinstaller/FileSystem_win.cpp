#include "updateinstaller/FileSystem.h"

#include "updateinstaller/FileTree.h"
#include "updateinstaller/LongPath_win.h"

#include <algorithm>
#include <memory>
#include <windows.h>

#include <restartmanager.h>

namespace updateinstaller {

std::wstring longForm(const Path& path)
{
    std::wstring text = path.native();
    std::replace(text.begin(), text.end(), L'/', L'\\');
    if (text.rfind(LR"(\\?\)", 0) == 0) {
        return text;
    }
    return text.rfind(LR"(\\)", 0) == 0 ? LR"(\\?\UNC\)" + text.substr(2) : LR"(\\?\)" + text;
}

namespace {

std::error_code lastError()
{
    return {static_cast<int>(::GetLastError()), std::system_category()};
}

std::error_code errorOf(BOOL result)
{
    return result ? std::error_code() : lastError();
}

std::wstring shortForm(const std::wstring& text)
{
    if (text.rfind(LR"(\\?\UNC\)", 0) == 0) {
        return LR"(\\)" + text.substr(8);
    }
    return text.rfind(LR"(\\?\)", 0) == 0 ? text.substr(4) : text;
}

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

HANDLE openFile(const Path& path, DWORD access, DWORD share, DWORD disposition, DWORD flags = 0)
{
    return ::CreateFileW(longForm(path).c_str(), access, share, nullptr, disposition,
                         FILE_ATTRIBUTE_NORMAL | FILE_FLAG_OPEN_REPARSE_POINT | flags, nullptr);
}

constexpr DWORD shareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;

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

/** Windows refuses to remove or to open for writing what is marked read-only. */
void dropReadOnly(const Path& path)
{
    const DWORD attributes = ::GetFileAttributesW(longForm(path).c_str());
    if (attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_READONLY) != 0) {
        ::SetFileAttributesW(longForm(path).c_str(), attributes & ~FILE_ATTRIBUTE_READONLY);
    }
}

template <typename Function>
Function function(HMODULE library, const char* name)
{
    // The system knows functions of any type by one.
    return library ? reinterpret_cast<Function>(
                         reinterpret_cast<void*>(::GetProcAddress(library, name)))
                   : nullptr;
}

std::error_code writeAndFlush(HANDLE file, std::string_view contents, bool isFlushing)
{
    DWORD written = 0;
    if (!::WriteFile(file, contents.data(), static_cast<DWORD>(contents.size()), &written,
                     nullptr)) {
        return lastError();
    }
    return isFlushing ? errorOf(::FlushFileBuffers(file)) : std::error_code();
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
    // The number holds a count of its uses, so that the time of birth adds nothing.
    const auto high = static_cast<std::uint64_t>(info.nFileIndexHigh) << 32;
    return {info.dwVolumeSerialNumber, high | info.nFileIndexLow, 0};
}

bool isAbsolute(const Path& path)
{
    const std::wstring text = shortForm(path.native());
    const auto isSeparator = [](wchar_t c) { return c == L'\\' || c == L'/'; };
    // Wildcards would be looked up as such.
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
    // Windows drops trailing dots and blanks; the program would be found under another name.
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
        // The folder gets its name anew in the end; it keeps the letters that it has on the disk.
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
    // Writing is asked for because a program that runs can still be opened for reading.
    for (const DWORD access : {GENERIC_READ | GENERIC_WRITE | DELETE, GENERIC_READ | DELETE}) {
        const Handle probe(openFile(file, static_cast<DWORD>(access), 0, OPEN_EXISTING));
        if (probe.isOpen()) {
            return {};
        }
        if (isSharing(::GetLastError())) {
            return lastError();
        }
    }
    // Not allowed, or gone: the rename of the folder will tell whether that matters.
    return {};
}

std::string holderOf(const Path& file)
{
    // Loaded by hand and from the system's folder only: an import is looked for beside the program
    // first.
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

std::error_code makeFolder(const Path& folder)
{
    return errorOf(::CreateDirectoryW(longForm(folder).c_str(), nullptr));
}

std::error_code moveFolder(const Path& from, const Path& to)
{
    return errorOf(::MoveFileExW(longForm(from).c_str(), longForm(to).c_str(), 0));
}

std::error_code replaceFile(const Path& from, const Path& to)
{
    return errorOf(::MoveFileExW(longForm(from).c_str(), longForm(to).c_str(),
                                 MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH));
}

std::error_code exchangeFolders(const Path&, const Path&)
{
    return {ERROR_NOT_SUPPORTED, std::system_category()};
}

std::error_code removeFile(const Path& path)
{
    dropReadOnly(path);
    return errorOf(::DeleteFileW(longForm(path).c_str()));
}

std::error_code removeFolder(const Path& folder)
{
    return errorOf(::RemoveDirectoryW(longForm(folder).c_str()));
}

void unlockFolder(const Path& folder)
{
    dropReadOnly(folder);
}

std::error_code writeNewFile(const Path& path, std::string_view contents)
{
    const Handle file(openFile(path, GENERIC_WRITE, FILE_SHARE_READ, CREATE_NEW));
    return file.isOpen() ? writeAndFlush(file.get(), contents, true) : lastError();
}

std::error_code appendToFile(const Path& path, std::string_view contents)
{
    const Handle file(openFile(path, FILE_APPEND_DATA | SYNCHRONIZE, shareAll, OPEN_ALWAYS));
    return file.isOpen() ? writeAndFlush(file.get(), contents, false) : lastError();
}

std::error_code copyFile(const Path& from, const Path& to)
{
    return errorOf(::CopyFileExW(longForm(from).c_str(), longForm(to).c_str(), nullptr, nullptr,
                                 nullptr, COPY_FILE_FAIL_IF_EXISTS));
}

std::error_code copyLink(const Path&, const Path&)
{
    // Making one needs a privilege that users lack, and no package for Windows has any.
    return {ERROR_NOT_SUPPORTED, std::system_category()};
}

std::error_code copyFolderAttributes(const Path& from, const Path& to)
{
    const Handle source(
        openFile(from, FILE_READ_ATTRIBUTES, shareAll, OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS));
    const Handle target(
        openFile(to, FILE_WRITE_ATTRIBUTES, shareAll, OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS));
    FILE_BASIC_INFO info = {};
    if (!source.isOpen() || !target.isOpen() ||
        !::GetFileInformationByHandleEx(source.get(), FileBasicInfo, &info, sizeof info)) {
        return lastError();
    }
    info.ChangeTime = {};
    return errorOf(::SetFileInformationByHandle(target.get(), FileBasicInfo, &info, sizeof info));
}

std::error_code flushFolder(const Path&)
{
    // The journal of the volume keeps the order of renames; flushing a folder needs an
    // administrator.
    return {};
}

std::error_code flushTree(const Path& folder)
{
    return forEachBelow(folder, [&](const Path& relative, Kind kind) {
        if (kind != Kind::eFile) {
            return std::error_code();
        }
        const Handle file(openFile(folder / relative, GENERIC_WRITE, shareAll, OPEN_EXISTING));
        // What is read-only cannot be opened and will be written by the system in its own time.
        return file.isOpen() ? errorOf(::FlushFileBuffers(file.get())) : std::error_code();
    });
}

} // namespace updateinstaller

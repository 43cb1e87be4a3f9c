#include "updateinstaller/FileTree.h"
#include "updateinstaller/WindowsFile_win.h"

namespace updateinstaller {

namespace {

/** Windows refuses to remove or open for writing files with the read-only attribute. */
void dropReadOnly(const Path& path)
{
    const DWORD attributes = ::GetFileAttributesW(longForm(path).c_str());
    if (attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_READONLY) != 0) {
        ::SetFileAttributesW(longForm(path).c_str(), attributes & ~FILE_ATTRIBUTE_READONLY);
    }
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
    // Creating links requires a privilege that users lack, and packages for Windows contain none.
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
    // The file system's journal preserves the order of renames; flushing a folder requires
    // administrator rights.
    return {};
}

std::error_code flushTree(const Path& folder)
{
    return forEachBelow(folder, [&](const Path& relative, Kind kind) {
        if (kind != Kind::eFile) {
            return std::error_code();
        }
        const Handle file(openFile(folder / relative, GENERIC_WRITE, shareAll, OPEN_EXISTING));
        // Read-only files cannot be opened for flushing; the system writes them eventually.
        return file.isOpen() ? errorOf(::FlushFileBuffers(file.get())) : std::error_code();
    });
}

} // namespace updateinstaller

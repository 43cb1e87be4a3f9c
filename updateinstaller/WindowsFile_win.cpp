#include "updateinstaller/WindowsFile_win.h"

#include <algorithm>

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

std::wstring shortForm(const std::wstring& text)
{
    if (text.rfind(LR"(\\?\UNC\)", 0) == 0) {
        return LR"(\\)" + text.substr(8);
    }
    return text.rfind(LR"(\\?\)", 0) == 0 ? text.substr(4) : text;
}

std::error_code lastError()
{
    return {static_cast<int>(::GetLastError()), std::system_category()};
}

std::error_code errorOf(BOOL result)
{
    return result ? std::error_code() : lastError();
}

HANDLE openFile(const Path& path, DWORD access, DWORD share, DWORD disposition, DWORD flags)
{
    return ::CreateFileW(longForm(path).c_str(), access, share, nullptr, disposition,
                         FILE_ATTRIBUTE_NORMAL | FILE_FLAG_OPEN_REPARSE_POINT | flags, nullptr);
}

} // namespace updateinstaller

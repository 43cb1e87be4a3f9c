// The program in the trees that are installed on Windows: writes its version, its path, its working
// folder and the number of its arguments to the file that REPORT names. With one argument it does
// nothing, for as many seconds as that says.

#include <windows.h>

#include <cwchar>
#include <filesystem>
#include <fstream>
#include <string>

int wmain(int argc, wchar_t* argv[])
{
    if (argc == 2) {
        ::Sleep(static_cast<DWORD>(1000 * std::wcstol(argv[1], nullptr, 10)));
        return 0;
    }
    namespace fs = std::filesystem;
    wchar_t self[32768] = L"";
    wchar_t report[32768] = L"";
    ::GetModuleFileNameW(nullptr, self, 32768);
    ::GetEnvironmentVariableW(L"REPORT", report, 32768);
    std::string version;
    std::ifstream(fs::path(self).parent_path() / "read me") >> version;
    std::ofstream(fs::path(report), std::ios::binary)
        << version << '|' << fs::path(self).generic_u8string() << '|'
        << fs::current_path().generic_u8string() << '|' << argc - 1 << '\n';
    return 0;
}

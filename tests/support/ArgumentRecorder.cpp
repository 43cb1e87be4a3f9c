// Stands in for programs that are started: writes its arguments, a line each, in UTF-8, to a file
// called like itself with ".arguments" behind. Needs no library, so it can be copied anywhere.

#include <cstdio>
#include <filesystem>
#include <fstream>

#ifdef _WIN32
#include <windows.h>
#endif

namespace fs = std::filesystem;

template <typename Char>
static int record(const fs::path& self, int argc, Char* argv[])
{
    fs::path finished = self;
    finished += ".arguments";
    fs::path unfinished = self;
    unfinished += ".part";
    {
        std::ofstream out(unfinished, std::ios::binary);
        for (int i = 0; i < argc; ++i) {
            out << fs::path(argv[i]).u8string() << '\n';
        }
    }
    // Whoever waits for the file finds it whole.
    std::error_code error;
    fs::rename(unfinished, finished, error);
    return error ? 1 : 0;
}

#ifdef _WIN32
int wmain(int argc, wchar_t* argv[])
{
    wchar_t self[32768];
    GetModuleFileNameW(nullptr, self, 32768);
    return record(self, argc, argv);
}
#else
int main(int argc, char* argv[])
{
    return record(fs::read_symlink("/proc/self/exe"), argc, argv);
}
#endif

#include "updateinstaller/Process.h"
#include "updateinstaller/Update.h"

#ifdef _WIN32
int wmain(int argc, wchar_t* argv[])
#else
int main(int argc, char* argv[])
#endif
{
    using namespace updateinstaller;
    leaveCaller();
    const std::vector<NativeString> arguments(argv + (argc > 0 ? 1 : 0), argv + argc);
    return static_cast<int>(installUpdate(CommandLine::parse(arguments), Patience()));
}

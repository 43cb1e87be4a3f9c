// main() of the build for tests: shorter patience, from the environment.

#include "updateinstaller/Update.h"

#include <cstdlib>

#ifdef _WIN32
int wmain(int argc, wchar_t* argv[])
#else
int main(int argc, char* argv[])
#endif
{
    using namespace updateinstaller;
    Patience patience;
    if (const char* const text = std::getenv("FAULT_PATIENCE_MS")) { // NOLINT: one thread
        patience.heldFolder = std::chrono::milliseconds(std::strtol(text, nullptr, 10));
        patience.passing = patience.heldFolder;
    }
    return runProgram(argc, argv, patience);
}

#include "updateinstaller/Update.h"

#ifdef _WIN32
int wmain(int argc, wchar_t* argv[])
#else
int main(int argc, char* argv[])
#endif
{
    return updateinstaller::runProgram(argc, argv, updateinstaller::Patience());
}

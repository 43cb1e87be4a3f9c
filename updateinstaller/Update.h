#pragma once

#include "updateinstaller/CommandLine.h"
#include "updateinstaller/ExitCode.h"
#include "updateinstaller/FolderSwap.h"

namespace updateinstaller {

/**
 * One whole run of the program: checks, lock, leftovers, staging, swap, start, tidying up. Whatever
 * happens, the application is started in the end: the new one after success, else the old one; only
 * when another process is at work on it, that one does.
 */
[[nodiscard]] ExitCode installUpdate(const CommandLine& commandLine, const Patience& patience);

/** What main() does with its arguments; the exit code. */
[[nodiscard]] int runProgram(int argc, NativeString::value_type* argv[], const Patience& patience);

} // namespace updateinstaller

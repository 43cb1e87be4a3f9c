#pragma once

#include "updateinstaller/CommandLine.h"
#include "updateinstaller/ExitCode.h"
#include "updateinstaller/FolderSwap.h"

namespace updateinstaller {

/**
 * One run of the program: checks, lock, recovery, staging, swap, start, clean-up. In any case the
 * application is started at the end, the new one after success, otherwise the old one, unless
 * another process is updating it, which starts it then.
 */
[[nodiscard]] ExitCode installUpdate(const CommandLine& commandLine, const Patience& patience);

/** Runs the program with its arguments; returns the exit code. */
[[nodiscard]] int runProgram(int argc, NativeString::value_type* argv[], const Patience& patience);

} // namespace updateinstaller

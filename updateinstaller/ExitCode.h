#pragma once

namespace updateinstaller {

/**
 * Exit codes, one per class of failure; docs/update-installer.md explains them. Never reuse a code
 * for something else. 1 stays unused: runtimes and shells return it themselves.
 */
enum class ExitCode {
    eDone = 0,
    eOptionMissing = 2,
    eBadArgument = 3,
    eAlreadyRunning = 4,
    eUnmarkedLeftover = 5,
    eLeftoverUnresolved = 6,
    eNoExecutable = 7,
    eNoSpace = 8,
    eStagingFailed = 9,
    eFolderHeld = 10,
    eSwapFailed = 11,
    eStartFailed = 12,
    eFolderMissing = 13,
    eNotWritable = 14,
};

} // namespace updateinstaller

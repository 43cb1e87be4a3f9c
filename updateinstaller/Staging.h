#pragma once

#include "updateinstaller/CommandLine.h"
#include "updateinstaller/ExitCode.h"
#include "updateinstaller/FolderSwap.h"
#include "updateinstaller/WorkFolder.h"

namespace updateinstaller {

/**
 * Validates the two folders and finds the new tree: newDir, or its only sub-folder if that contains
 * the program. Fills in the journal except for the phase and the new tree's identity.
 */
[[nodiscard]] ExitCode findNewTree(const CommandLine& request, const WorkFolder& work,
                                   InstallLog& log, Journal& journal);

/**
 * Moves the new tree into the work folder (copies it from another volume) and flushes it; the
 * journal is in eSwapping then.
 */
[[nodiscard]] ExitCode stageNewTree(const WorkFolder& work, const Patience& patience,
                                    InstallLog& log, Journal& journal);

/**
 * Whether the folder is the one that the journal's update consumed, or does not exist any more
 * because it did.
 */
[[nodiscard]] bool isHandledBefore(const Path& newDir, const Journal& journal);

} // namespace updateinstaller

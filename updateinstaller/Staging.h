#pragma once

#include "updateinstaller/CommandLine.h"
#include "updateinstaller/ExitCode.h"
#include "updateinstaller/FolderSwap.h"
#include "updateinstaller/WorkFolder.h"

namespace updateinstaller {

/**
 * Checks the two folders against each other and finds the new tree: the folder handed over, or its
 * only sub-folder when that one holds the program. Fills in everything of the journal but the phase
 * and the new tree's identity.
 */
[[nodiscard]] ExitCode findNewTree(const CommandLine& request, const WorkFolder& work,
                                   InstallLog& log, Journal& journal);

/**
 * Brings the new tree into the work folder, by renaming it or, from another volume, by copying, and
 * onto the disk; the journal then says eSwapping.
 */
[[nodiscard]] ExitCode stageNewTree(const WorkFolder& work, const Patience& patience,
                                    InstallLog& log, Journal& journal);

/** True for the very folder that the journal's update has used up, or that it used up altogether.
 */
[[nodiscard]] bool isHandledBefore(const Path& newDir, const Journal& journal);

} // namespace updateinstaller

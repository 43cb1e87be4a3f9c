#pragma once

#include "updateinstaller/FileSystem.h"

namespace updateinstaller {

/**
 * Frees this process from what its caller left it: closes all descriptors but the three standard
 * ones (through an exec the host's open files, some of them in the folder to be replaced, come
 * along), and outlives the caller's terminal.
 */
void leaveCaller();

/** False when the folder cannot be made the working directory. */
[[nodiscard]] bool setWorkingFolder(const Path& folder);

[[nodiscard]] unsigned long processId();

/** The file that this process runs from; empty when the system does not tell. */
[[nodiscard]] Path ownFile();

/** True when the file is the copy of this program that a host puts into @p folder to run it there.
 */
[[nodiscard]] bool isOwnCopy(const Path& program, const Path& folder);

/** Starts a program that outlives this process, its own folder being its working directory. */
[[nodiscard]] std::error_code startDetached(const Path& program);

/**
 * Takes the running program out of its folder: removed where the system removes running programs,
 * else renamed to a name that removeRetiredPrograms() knows.
 */
[[nodiscard]] std::error_code retireProgram(const Path& program);

/** Removes what retireProgram() could only rename. What is still running stays. */
void removeRetiredPrograms(const Path& folder);

} // namespace updateinstaller

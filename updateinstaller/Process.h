#pragma once

#include "updateinstaller/FileSystem.h"

namespace updateinstaller {

/**
 * Releases what this process inherited: closes all descriptors but the three standard ones (after
 * an exec the host's files are still open, some of them in the folder to be replaced), and detaches
 * from the caller's terminal.
 */
void leaveCaller();

/** Returns false if the folder cannot become the working directory. */
[[nodiscard]] bool setWorkingFolder(const Path& folder);

[[nodiscard]] unsigned long processId();

/** The executable file of this process; empty if the system does not report it. */
[[nodiscard]] Path ownFile();

/** Whether the file is the copy of this program that a host puts into @p folder to run it there. */
[[nodiscard]] bool isOwnCopy(const Path& program, const Path& folder);

/** Starts a detached program with its own folder as working directory. */
[[nodiscard]] std::error_code startDetached(const Path& program);

/**
 * Removes the running program from its folder; on systems that do not remove running programs,
 * renames it to a name that removeRetiredPrograms() knows.
 */
[[nodiscard]] std::error_code retireProgram(const Path& program);

/** Removes programs that retireProgram() could only rename, unless they are still running. */
void removeRetiredPrograms(const Path& folder);

} // namespace updateinstaller

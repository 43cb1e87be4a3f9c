#pragma once

#include "updateinstaller/FileSystem.h"

#include <functional>

namespace updateinstaller {

/**
 * Calls @p visit for everything below the folder (itself not included) with the path relative to
 * it, a folder before what it contains. Links are visited, never followed. Ends at the first error.
 */
[[nodiscard]] std::error_code
forEachBelow(const Path& folder,
             const std::function<std::error_code(const Path& relative, Kind kind)>& visit);

/** Removes a file, a link or a folder with all it contains; goes on after an error, answers the
 * first. */
[[nodiscard]] std::error_code removeTree(const Path& path);

/** Bytes that a copy of the tree takes at most, each file rounded up to whole blocks. */
[[nodiscard]] std::error_code measureTree(const Path& folder, std::uint64_t& bytes);

/** Copies a tree with links, permissions and modification times. The target must not exist. */
[[nodiscard]] std::error_code copyTree(const Path& from, const Path& to);

/** The first file of the tree that somebody else still uses, with the system's error. */
[[nodiscard]] std::error_code findHeldFile(const Path& folder, Path& file);

} // namespace updateinstaller

#pragma once

#include "updateinstaller/FileSystem.h"

#include <functional>

namespace updateinstaller {

/**
 * Calls @p visit with the relative path of everything below the folder (itself excluded), folders
 * before their contents. Links are visited, never followed. Stops at the first error.
 */
[[nodiscard]] std::error_code
forEachBelow(const Path& folder,
             const std::function<std::error_code(const Path& relative, Kind kind)>& visit);

/**
 * Removes a file, a link or a folder with its contents; continues after an error and returns the
 * first.
 */
[[nodiscard]] std::error_code removeTree(const Path& path);

/** Upper bound for the size of a copy of the tree, with each file rounded up to whole blocks. */
[[nodiscard]] std::error_code measureTree(const Path& folder, std::uint64_t& bytes);

/** Copies a tree with links, permissions and modification times. The target must not exist. */
[[nodiscard]] std::error_code copyTree(const Path& from, const Path& to);

/** The first file of the tree that another process still uses, with the system's error. */
[[nodiscard]] std::error_code findHeldFile(const Path& folder, Path& file);

} // namespace updateinstaller

#pragma once

#include "updateinstaller/FileSystem.h"

#include <string>
#include <vector>

namespace updateinstaller {

/**
 * What the caller wants: `-oldDir D -newDir D -exe NAME`, in any order. Releases to come are
 * started by hosts that are installed today, so an option may be added but never changed or made
 * necessary.
 */
struct CommandLine
{
    Path oldDir;
    Path newDir;
    Path exe;
    std::vector<NativeString> ignored; //!< arguments that say nothing to this version

    /** @p arguments without the program's own name. The last of equal options counts. */
    static CommandLine parse(const std::vector<NativeString>& arguments);

    /** The name of the first option that was not given, else empty. */
    [[nodiscard]] std::string missingOption() const;
};

} // namespace updateinstaller

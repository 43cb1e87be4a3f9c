#pragma once

#include "updateinstaller/FileSystem.h"

#include <string>
#include <vector>

namespace updateinstaller {

/**
 * The parsed arguments `-oldDir D -newDir D -exe NAME`, in any order. Hosts installed today will
 * start future releases of this program, so options may be added, but never changed or made
 * mandatory.
 */
struct CommandLine
{
    Path oldDir;
    Path newDir;
    Path exe;
    std::vector<NativeString> ignored; //!< arguments unknown to this version

    /**
     * Parses @p arguments, which do not include the program's own name. Of equal options the last
     * counts.
     */
    static CommandLine parse(const std::vector<NativeString>& arguments);

    /** The name of the first missing option, otherwise empty. */
    [[nodiscard]] std::string missingOption() const;
};

} // namespace updateinstaller

#pragma once

#include "updateinstaller/FileSystem.h"

#include <optional>

namespace updateinstaller {

/** What an update has set out to do, so that the next run can finish or undo it. */
struct Journal
{
    enum class Phase {
        eStaging,  //!< the application folder is untouched
        eSwapping, //!< the staged tree is complete and on the disk; renames are under way
        eSwapped,  //!< the new program has started; the rest is tidying up
    };

    Phase phase = Phase::eStaging;
    Path newDir;       //!< as handed over
    Path source;       //!< newDir or its sub-folder, where the new tree was
    Identity newDirId; //!< tells the folder handed over from a later one of the same name
    Identity oldTreeId;
    Identity newTreeId; //!< unknown while staging

    [[nodiscard]] std::string encode() const;
    /** Nothing for a text that encode() did not write. */
    [[nodiscard]] static std::optional<Journal> decode(const std::string& text);
};

} // namespace updateinstaller

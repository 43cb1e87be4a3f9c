#pragma once

#include "updateinstaller/FileSystem.h"

#include <optional>

namespace updateinstaller {

/** The journal of an update, which lets the next run finish or roll back an interrupted one. */
struct Journal
{
    enum class Phase {
        eStaging,  //!< the application folder is untouched
        eSwapping, //!< the staged tree is complete and flushed; renames are in progress
        eSwapped,  //!< the new program has started; only the clean-up is missing
    };

    Phase phase = Phase::eStaging;
    Path newDir;       //!< as given on the command line
    Path source;       //!< the new tree's original folder: newDir or its sub-folder
    Identity newDirId; //!< distinguishes newDir from a later folder of the same name
    Identity oldTreeId;
    Identity newTreeId; //!< unknown while staging

    [[nodiscard]] std::string encode() const;
    /** Parses a text written by encode(); nothing for any other. */
    [[nodiscard]] static std::optional<Journal> decode(const std::string& text);
};

} // namespace updateinstaller

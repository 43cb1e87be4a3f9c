#pragma once

#include "updateinstaller/FolderSwap.h"
#include "updateinstaller/WorkFolder.h"

namespace updateinstaller {

/** The outcome of recovering an interrupted update. */
struct Recovery
{
    enum class Outcome {
        eNothing,  //!< there was none
        eUndone,   //!< rolled back to the state before that update
        eFinished, //!< its new tree is in place; tidyUp() removes the leftovers
        eForeign,  //!< the work folder was created by somebody else and was not touched
        eFailed,   //!< could not be resolved now; both trees are unchanged
    };

    Outcome outcome = Outcome::eNothing;
    Journal journal; //!< of that update, with eFinished
};

/**
 * Restores a consistent application folder: finishes an interrupted swap, or rolls back the steps
 * before it. Also used to roll back an update of this run that failed.
 */
[[nodiscard]] Recovery resolveLeftovers(const Path& application, const Path& exe,
                                        const WorkFolder& work, const Patience& patience,
                                        InstallLog& log);

/**
 * Removes the leftovers of a finished update: the old tree, the unpack folder, the work folder. The
 * next run removes what cannot be removed now.
 */
void tidyUp(const WorkFolder& work, Journal journal, InstallLog& log);

} // namespace updateinstaller

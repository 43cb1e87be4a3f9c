#pragma once

#include "updateinstaller/FolderSwap.h"
#include "updateinstaller/WorkFolder.h"

namespace updateinstaller {

/** What became of an update that did not reach its end. */
struct Recovery
{
    enum class Outcome {
        eNothing,  //!< there was none
        eUndone,   //!< all is as it was before that update
        eFinished, //!< its new tree is in place; its leftovers are still there, for tidyUp()
        eForeign,  //!< the work folder is not ours and was not touched
        eFailed,   //!< could not be resolved now; both trees are as they were
    };

    Outcome outcome = Outcome::eNothing;
    Journal journal; //!< of that update, with eFinished
};

/**
 * Brings the application folder into a whole state: finishes an interrupted swap, or undoes what
 * came before it. Also used to undo an update of this run that could not go on.
 */
[[nodiscard]] Recovery resolveLeftovers(const Path& application, const Path& exe,
                                        const WorkFolder& work, const Patience& patience,
                                        InstallLog& log);

/**
 * Removes what a finished update leaves: the old tree, the unpack folder, the work folder. What
 * cannot be removed stays for the next run.
 */
void tidyUp(const WorkFolder& work, Journal journal, InstallLog& log);

} // namespace updateinstaller

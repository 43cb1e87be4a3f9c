#pragma once

#include "updateinstaller/FileSystem.h"
#include "updateinstaller/InstallLog.h"
#include "updateinstaller/WorkFolder.h"

#include <chrono>

namespace updateinstaller {

/** Maximum waiting time for each kind of obstacle. */
struct Patience
{
    std::chrono::milliseconds heldFolder{60'000}; //!< the old folder, from which the host ran
    std::chrono::milliseconds passing{5'000}; //!< short uses of new files, e.g. by a virus scanner
};

/** Swaps the staged tree with the application folder, and back. */
class FolderSwap
{
public:
    enum class Result {
        eDone,
        eHeld,   //!< the old folder stayed in use; nothing was changed
        eFailed, //!< nothing was changed, or everything was rolled back
        eBroken, //!< neither tree is in place; both are complete, and the journal records it
    };

    FolderSwap(const Path& application, const WorkFolder& work, const Patience& patience,
               InstallLog& log);

    /** Waits until the old tree is no longer in use. The journal must be in eSwapping already. */
    [[nodiscard]] Result swap();
    /**
     * Reverts swap(), also that of an earlier run; eDone: the old tree is in place and the new one
     * staged again.
     */
    [[nodiscard]] Result revert();

private:
    [[nodiscard]] std::error_code attemptFirstStep();
    [[nodiscard]] Result finishSecondStep();
    void flushNames() const;

    Path m_application;
    const WorkFolder& m_work;
    Patience m_patience;
    InstallLog& m_log;
    Path m_heldFile;
    bool m_canExchange = true;
};

} // namespace updateinstaller

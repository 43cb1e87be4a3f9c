#pragma once

#include "updateinstaller/FileSystem.h"
#include "updateinstaller/InstallLog.h"
#include "updateinstaller/WorkFolder.h"

#include <chrono>

namespace updateinstaller {

/** How long each kind of obstacle is waited for. */
struct Patience
{
    std::chrono::milliseconds heldFolder{60'000}; //!< the old folder, from which the host ran
    std::chrono::milliseconds passing{5'000};     //!< a scanner looking at new files, and the like
};

/** Puts the staged tree in the place of the application folder, and back. */
class FolderSwap
{
public:
    enum class Result {
        eDone,
        eHeld,   //!< the old folder stayed in use; nothing has changed
        eFailed, //!< nothing has changed, or all was changed back
        eBroken, //!< neither tree is in place; both are whole, and the journal says so
    };

    FolderSwap(const Path& application, const WorkFolder& work, const Patience& patience,
               InstallLog& log);

    /** Waits until the old tree is free. The journal must say eSwapping before. */
    [[nodiscard]] Result swap();
    /**
     * Undoes swap(), also one of an earlier run: eDone with the old tree in place and the new one
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

#include "updateinstaller/FolderSwap.h"

#include "updateinstaller/FileTree.h"
#include "updateinstaller/Retry.h"

namespace updateinstaller {

FolderSwap::FolderSwap(const Path& application, const WorkFolder& work, const Patience& patience,
                       InstallLog& log)
    : m_application(application)
    , m_work(work)
    , m_patience(patience)
    , m_log(log)
{
}

FolderSwap::Result FolderSwap::swap()
{
    bool hasWaited = false;
    const auto error = retry(m_patience.heldFolder, [&] {
        const auto reason = attemptFirstStep();
        if (isTransient(reason) && !hasWaited) {
            hasWaited = true;
            const Path& held = m_heldFile.empty() ? m_application : m_heldFile;
            m_log.write("the old folder is still in use, waiting: " + toText(held), reason);
        }
        return reason;
    });
    if (error) {
        const std::string holder = m_heldFile.empty() ? std::string() : holderOf(m_heldFile);
        m_log.write("the old folder could not be replaced" +
                        (holder.empty() ? std::string() : ", it is in use by " + holder),
                    error);
        return isTransient(error) ? Result::eHeld : Result::eFailed;
    }
    return finishSecondStep();
}

std::error_code FolderSwap::attemptFirstStep()
{
    m_heldFile.clear();
    // Do not wait because of a part of the tree that cannot be read.
    if (const auto held = findHeldFile(m_application, m_heldFile); !m_heldFile.empty()) {
        return held;
    }
    if (m_canExchange) {
        const auto error = exchangeFolders(m_work.staged(), m_application);
        if (!isExchangeUnsupported(error)) {
            return error;
        }
        m_canExchange = false;
        m_log.write("folders cannot be exchanged here, renaming them one after the other");
    }
    return moveFolder(m_application, m_work.backup());
}

FolderSwap::Result FolderSwap::finishSecondStep()
{
    if (!m_canExchange) {
        const auto error =
            retry(m_patience.passing, [&] { return moveFolder(m_work.staged(), m_application); });
        if (error) {
            m_log.write("the new folder could not be put in place, moving the old one back", error);
            const auto failure = insist(m_patience.heldFolder,
                                        [&] { return moveFolder(m_work.backup(), m_application); });
            if (failure) {
                m_log.write("the old folder could not be moved back", failure);
            }
            flushNames();
            return failure ? Result::eBroken : Result::eFailed;
        }
    }
    flushNames();
    return Result::eDone;
}

FolderSwap::Result FolderSwap::revert()
{
    const bool wasExchanged = kindOf(m_work.backup()) == Kind::eNothing;
    const auto error = insist(m_patience.passing, [&] {
        return wasExchanged ? exchangeFolders(m_work.staged(), m_application)
                            : moveFolder(m_application, m_work.staged());
    });
    if (error || wasExchanged) {
        flushNames();
        return error ? Result::eFailed : Result::eDone;
    }
    const auto failure =
        insist(m_patience.heldFolder, [&] { return moveFolder(m_work.backup(), m_application); });
    flushNames();
    return failure ? Result::eBroken : Result::eDone;
}

void FolderSwap::flushNames() const
{
    // Too late to roll back; if flushing fails now, the journal still records what happened.
    for (const Path& folder : {m_work.path(), m_application.parent_path()}) {
        if (const auto error = flushFolder(folder)) {
            m_log.write("could not flush " + toText(folder), error);
        }
    }
}

} // namespace updateinstaller

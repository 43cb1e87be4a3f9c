#pragma once

#include "updateinstaller/InstallLog.h"
#include "updateinstaller/Journal.h"

namespace updateinstaller {

/**
 * The folder "<application folder>.UpdateInstaller" beside the application folder, which holds
 * everything that an update keeps on the disk: the journal, the staged tree, the backup. A marker
 * file in it, beside those trees and not in them, says that it is ours; without it nothing in it is
 * touched.
 *
 * Trees get their names only when they are complete and lose them before they are removed, so that
 * a tree named staged() or backup() is always whole.
 */
class WorkFolder
{
public:
    enum class State {
        eMissing,
        eEmpty, //!< made, but not marked any more or yet: nothing in it can be lost
        eOurs,
        eForeign,
    };

    WorkFolder(const Path& applicationFolder, InstallLog& log);

    [[nodiscard]] const Path& path() const { return m_path; }
    /** The new tree, complete, until it is swapped in; where trees are exchanged, the old one after
     * that. */
    [[nodiscard]] Path staged() const { return m_path / "staged"; }
    /** The old tree. */
    [[nodiscard]] Path backup() const { return m_path / "backup"; }
    /** The new tree while it is being copied. */
    [[nodiscard]] Path copying() const { return m_path / "copying"; }

    [[nodiscard]] State state() const;
    /** Makes and marks the folder; fine when that has happened before. */
    [[nodiscard]] std::error_code prepare() const;

    /** Replaces the journal in one step and flushes it to the disk. */
    [[nodiscard]] std::error_code writeJournal(const Journal& plan) const;
    [[nodiscard]] std::optional<Journal> readJournal() const;

    /** Takes the name from a tree that is not needed any more; purge() removes it. */
    [[nodiscard]] std::error_code discard(const Path& tree) const;
    /** Removes what has no name of its own. False when something could not be removed. */
    bool purge() const;
    /** Removes what is left: journal, marker, and the folder when nothing else is in it. */
    void remove() const;

private:
    [[nodiscard]] Path marker() const { return m_path / "UpdateInstaller.marker"; }
    [[nodiscard]] Path journal() const { return m_path / "journal"; }
    [[nodiscard]] Path nextJournal() const { return m_path / "journal.new"; }

    Path m_path;
    InstallLog& m_log;
};

} // namespace updateinstaller

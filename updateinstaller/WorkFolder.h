#pragma once

#include "updateinstaller/InstallLog.h"
#include "updateinstaller/Journal.h"

namespace updateinstaller {

/**
 * The work folder "<application folder>.UpdateInstaller" beside the application folder, with all
 * files of an update: the journal, the staged tree, the backup. A marker file next to these trees
 * identifies it as ours; without the marker nothing in it is touched.
 *
 * Trees are renamed to their final names once they are complete and renamed again before they are
 * removed, so a tree named staged() or backup() is always complete.
 */
class WorkFolder
{
public:
    enum class State {
        eMissing,
        eEmpty, //!< exists without marker and contents: nothing in it can be lost
        eOurs,
        eForeign,
    };

    WorkFolder(const Path& applicationFolder, InstallLog& log);

    [[nodiscard]] const Path& path() const { return m_path; }
    /**
     * The complete new tree, until it is swapped in; if trees are exchanged, the old one after
     * that.
     */
    [[nodiscard]] Path staged() const { return m_path / "staged"; }
    /** The old tree. */
    [[nodiscard]] Path backup() const { return m_path / "backup"; }
    /** The new tree while it is being copied. */
    [[nodiscard]] Path copying() const { return m_path / "copying"; }

    [[nodiscard]] State state() const;
    /** Creates and marks the folder, if that has not happened before. */
    [[nodiscard]] std::error_code prepare() const;

    /** Replaces the journal atomically and flushes it to the disk. */
    [[nodiscard]] std::error_code writeJournal(const Journal& plan) const;
    [[nodiscard]] std::optional<Journal> readJournal() const;

    /** Renames a tree that is no longer needed, for purge() to remove. */
    [[nodiscard]] std::error_code discard(const Path& tree) const;
    /** Removes discarded and incomplete trees. Returns false if something could not be removed. */
    bool purge() const;
    /** Removes the journal, the marker and, if empty, the folder. */
    void remove() const;

private:
    [[nodiscard]] Path marker() const { return m_path / "UpdateInstaller.marker"; }
    [[nodiscard]] Path journal() const { return m_path / "journal"; }
    [[nodiscard]] Path nextJournal() const { return m_path / "journal.new"; }

    Path m_path;
    InstallLog& m_log;
};

} // namespace updateinstaller

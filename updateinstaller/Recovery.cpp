#include "updateinstaller/Recovery.h"

#include "updateinstaller/FileTree.h"
#include "updateinstaller/Retry.h"

namespace updateinstaller {

namespace {

using Outcome = Recovery::Outcome;
using Phase = Journal::Phase;

bool isThere(const Path& path)
{
    return kindOf(path) != Kind::eNothing;
}

class Resolver
{
public:
    Resolver(const Path& application, const Path& exe, const WorkFolder& work,
             const Patience& patience, InstallLog& log)
        : m_application(application)
        , m_exe(exe)
        , m_work(work)
        , m_patience(patience)
        , m_log(log)
        , m_journal(work.readJournal())
    {
    }

    Recovery resolve();

private:
    [[nodiscard]] bool fillGap();
    void clearGap();
    [[nodiscard]] bool isSwapped() const;
    [[nodiscard]] bool undo();
    [[nodiscard]] bool moveBack(const Path& from, const Path& to, const char* what);

    Path m_application;
    Path m_exe;
    const WorkFolder& m_work;
    Patience m_patience;
    InstallLog& m_log;
    std::optional<Journal> m_journal;
};

Recovery Resolver::resolve()
{
    if (!fillGap()) {
        return {Outcome::eFailed, {}};
    }
    if (isSwapped()) {
        return {Outcome::eFinished, m_journal.value_or(Journal())};
    }
    return {undo() ? Outcome::eUndone : Outcome::eFailed, {}};
}

/**
 * Between the two renames there is no application folder. Returns whether there is one in the end.
 */
bool Resolver::fillGap()
{
    const bool hasBackup = isThere(m_work.backup());
    const bool hasStaged = isThere(m_work.staged());
    if (hasBackup && hasStaged && kindOf(m_application) == Kind::eFolder) {
        clearGap();
    }
    if (isThere(m_application)) {
        return true;
    }
    const bool isComplete = m_journal && m_journal->phase != Phase::eStaging;
    if (hasStaged && (isComplete || !hasBackup) &&
        moveBack(m_work.staged(), m_application, "the new tree is put in place")) {
        return true;
    }
    if (hasBackup) {
        return moveBack(m_work.backup(), m_application, "the old tree is put back in place");
    }
    return !hasStaged;
}

/** Another program may have created the folder again, e.g. to write a log there. */
void Resolver::clearGap()
{
    std::vector<Entry> entries;
    if (isProgram(m_application / m_exe) || listFolder(m_application, entries)) {
        return;
    }
    if (entries.empty() && !removeFolder(m_application)) {
        return;
    }
    Path aside;
    for (int i = 1; aside.empty() || isThere(aside); ++i) {
        aside = m_application;
        aside += ".set-aside-" + std::to_string(i);
    }
    (void)moveBack(m_application, aside, "a folder without the program has been set aside");
}

bool Resolver::isSwapped() const
{
    if (m_journal && m_journal->phase == Phase::eSwapped) {
        return true;
    }
    const Identity present = identityOf(m_application);
    if (m_journal && isSame(present, m_journal->newTreeId)) {
        return true;
    }
    if (m_journal && isSame(present, m_journal->oldTreeId)) {
        return false;
    }
    // The system may renumber its files; the remaining names show which of the two renames
    // happened.
    return isThere(m_work.backup()) && !isThere(m_work.staged());
}

bool Resolver::undo()
{
    std::error_code error;
    if (isThere(m_work.backup())) {
        // The application was installed again while it was missing.
        if (!isProgram(m_application / m_exe)) {
            m_log.write("another folder has taken the place of the application, it is not touched");
            return false;
        }
        error = m_work.discard(m_work.backup());
    }
    if (!error && isThere(m_work.staged())) {
        const bool isOldInPlace =
            m_journal && isSame(identityOf(m_application), m_journal->oldTreeId);
        const bool isWanted =
            isOldInPlace && !m_journal->source.empty() && !isThere(m_journal->source);
        if (!isWanted ||
            !moveBack(m_work.staged(), m_journal->source, "the unpacked tree is put back")) {
            error = m_work.discard(m_work.staged());
        }
    }
    if (error) {
        m_log.write("leftovers could not be resolved", error);
        return false;
    }
    if (m_work.purge()) {
        m_work.remove();
    }
    return true;
}

bool Resolver::moveBack(const Path& from, const Path& to, const char* what)
{
    const auto error = insist(m_patience.passing, [&] { return moveFolder(from, to); });
    if (error) {
        m_log.write(toText(from) + " could not be renamed to " + toText(to), error);
        return false;
    }
    m_log.write(what);
    for (const Path& folder : {from.parent_path(), to.parent_path()}) {
        if (const auto failure = flushFolder(folder)) {
            m_log.write("could not flush " + toText(folder), failure);
        }
    }
    return true;
}

} // namespace

Recovery resolveLeftovers(const Path& application, const Path& exe, const WorkFolder& work,
                          const Patience& patience, InstallLog& log)
{
    switch (work.state()) {
    case WorkFolder::State::eMissing:
        return {};
    case WorkFolder::State::eForeign:
        log.write(toText(work.path()) + " carries no marker of ours and is not touched");
        return {Outcome::eForeign, {}};
    case WorkFolder::State::eEmpty:
        work.remove();
        return {};
    case WorkFolder::State::eOurs:
        break;
    }
    return Resolver(application, exe, work, patience, log).resolve();
}

void tidyUp(const WorkFolder& work, Journal journal, InstallLog& log)
{
    journal.phase = Journal::Phase::eSwapped;
    std::error_code error = work.writeJournal(journal);
    for (const Path& tree : {work.backup(), work.staged()}) {
        error = error ? error : work.discard(tree);
    }
    if (error) {
        log.write("the old tree could not be put away, it stays for the next run", error);
        return;
    }
    const bool isPurged = work.purge();
    // Never a folder created since then, even with the same name.
    if (isSame(identityOf(journal.newDir), journal.newDirId)) {
        error = removeTree(journal.newDir);
        if (error) {
            log.write("the unpack folder stays for the next run: " + toText(journal.newDir), error);
        }
    }
    if (isPurged && !error) {
        work.remove();
    }
}

} // namespace updateinstaller

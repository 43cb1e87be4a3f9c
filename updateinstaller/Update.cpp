#include "updateinstaller/Update.h"

#include "updateinstaller/FolderLock.h"
#include "updateinstaller/Process.h"
#include "updateinstaller/Recovery.h"
#include "updateinstaller/Retry.h"
#include "updateinstaller/Staging.h"

namespace updateinstaller {

namespace {

using Outcome = Recovery::Outcome;

/** The part of a run that holds the lock of the parent folder. */
class LockedRun
{
public:
    LockedRun(const CommandLine& request, const Patience& patience, InstallLog& log)
        : m_request(request)
        , m_application(request.oldDir)
        , m_patience(patience)
        , m_log(log)
        , m_work(m_application, log)
        , m_swap(m_application, m_work, patience, log)
    {
    }

    [[nodiscard]] ExitCode run();

private:
    [[nodiscard]] Recovery resolve();
    [[nodiscard]] ExitCode install();
    [[nodiscard]] ExitCode swap(const Journal& journal);
    [[nodiscard]] ExitCode conclude(const Journal& journal);

    const CommandLine& m_request;
    Path m_application;
    Patience m_patience;
    InstallLog& m_log;
    WorkFolder m_work;
    FolderSwap m_swap;
};

ExitCode LockedRun::run()
{
    const Recovery before = resolve();
    switch (before.outcome) {
    case Outcome::eForeign:
        return ExitCode::eUnmarkedLeftover;
    case Outcome::eFailed:
        return ExitCode::eLeftoverUnresolved;
    case Outcome::eFinished:
        if (isHandledBefore(m_request.newDir, before.journal)) {
            m_log.write("the interrupted update is complete");
            return conclude(before.journal);
        }
        tidyUp(m_work, before.journal, m_log);
        break;
    case Outcome::eUndone:
        m_log.write("an interrupted update has been undone");
        break;
    case Outcome::eNothing:
        break;
    }
    return install();
}

Recovery LockedRun::resolve()
{
    return resolveLeftovers(m_application, m_request.exe, m_work, m_patience, m_log);
}

ExitCode LockedRun::install()
{
    Journal journal;
    ExitCode code = findNewTree(m_request, m_work, m_log, journal);
    if (code != ExitCode::eDone) {
        return code;
    }
    code = stageNewTree(m_work, m_patience, m_log, journal);
    if (code == ExitCode::eDone) {
        return swap(journal);
    }
    (void)resolve(); // rolls back what it can; the next run does the rest
    return code;
}

ExitCode LockedRun::swap(const Journal& journal)
{
    const auto result = m_swap.swap();
    if (result == FolderSwap::Result::eDone) {
        m_log.write("the new folder is in place");
        return conclude(journal);
    }
    if (resolve().outcome == Outcome::eFinished) {
        return conclude(journal);
    }
    return result == FolderSwap::Result::eHeld ? ExitCode::eFolderHeld : ExitCode::eSwapFailed;
}

ExitCode LockedRun::conclude(const Journal& journal)
{
    const Path program = m_application / m_request.exe;
    const auto error = retry(m_patience.passing, [&] { return startDetached(program); });
    if (!error) {
        m_log.write("started " + toText(program));
        tidyUp(m_work, journal, m_log);
        return ExitCode::eDone;
    }
    m_log.write("the new program could not be started, going back", error);
    if (journal.phase != Journal::Phase::eSwapped && m_swap.revert() == FolderSwap::Result::eDone) {
        (void)resolve();
    }
    return ExitCode::eStartFailed;
}

ExitCode checkOptions(const CommandLine& request, InstallLog& log)
{
    for (const auto& argument : request.ignored) {
        log.write("unknown option ignored: " + toText(argument));
    }
    if (const std::string missing = request.missingOption(); !missing.empty()) {
        log.write("option missing: " + missing);
        return ExitCode::eOptionMissing;
    }
    for (const Path& folder : {request.oldDir, request.newDir}) {
        if (!isAbsolute(folder) || isRoot(folder)) {
            log.write("not an absolute path of a folder: " + toText(folder));
            return ExitCode::eBadArgument;
        }
    }
    if (!isBareName(request.exe)) {
        log.write("not the bare name of a program: " + toText(request.exe));
        return ExitCode::eBadArgument;
    }
    return ExitCode::eDone;
}

/**
 * Requires less than an update: a wrong new folder must not leave the user without an application.
 */
bool canStartOld(const CommandLine& request)
{
    return isAbsolute(request.oldDir) && !isRoot(request.oldDir) && isBareName(request.exe) &&
           isProgram(request.oldDir / request.exe);
}

void startOld(const CommandLine& request, const Patience& patience, InstallLog& log)
{
    if (!canStartOld(request)) {
        log.write("there is no old version to start");
        return;
    }
    const Path program = request.oldDir / request.exe;
    if (const auto error = retry(patience.passing, [&] { return startDetached(program); })) {
        log.write("the old version could not be started", error);
    } else {
        log.write("started the old version, " + toText(program));
    }
}

/** Hosts do not overwrite an existing copy: without this they would use the first one for ever. */
void retireOwnCopy(const Path& program, const Path& application, InstallLog& log)
{
    const bool isCopy = isOwnCopy(program, application.parent_path());
    if (!isCopy || kindOf(application) != Kind::eFolder) {
        return;
    }
    if (const auto error = retireProgram(program)) {
        log.write("could not remove " + toText(program), error);
    }
}

ExitCode runLocked(const CommandLine& request, const Patience& patience, InstallLog& log)
{
    const Path own = ownFile();
    const Path parent = request.oldDir.parent_path();
    FolderLock lock;
    auto result = FolderLock::Result::eFailed;
    // Short: the error for a folder without write access is the same as for a lock that is being
    // released.
    const auto error = retry(std::chrono::milliseconds(500), [&] {
        std::error_code reason;
        result = lock.acquire(parent, reason);
        return result == FolderLock::Result::eFailed ? reason : std::error_code();
    });
    if (result == FolderLock::Result::eBusy) {
        log.write("another update is under way here");
        return ExitCode::eAlreadyRunning;
    }
    if (result == FolderLock::Result::eFailed) {
        log.write("cannot work in " + toText(parent), error);
        startOld(request, patience, log);
        return ExitCode::eNotWritable;
    }
    log.setRotating(true);
    removeRetiredPrograms(parent);
    const ExitCode code = LockedRun(request, patience, log).run();
    if (code != ExitCode::eDone) {
        startOld(request, patience, log);
    }
    log.write("finished with code " + std::to_string(static_cast<int>(code)));
    retireOwnCopy(own, request.oldDir, log);
    return code;
}

} // namespace

ExitCode installUpdate(const CommandLine& commandLine, const Patience& patience)
{
    InstallLog log;
    CommandLine request = commandLine;
    const bool hasPlace = isAbsolute(request.oldDir) && !isRoot(request.oldDir);
    if (hasPlace) {
        request.oldDir = resolved(request.oldDir);
        const Path parent = request.oldDir.parent_path();
        // The working folder of a process may not be renamed on some systems.
        if (setWorkingFolder(parent)) {
            log.setFolder(parent);
        }
    }
    const ExitCode code = checkOptions(request, log);
    if (code != ExitCode::eDone) {
        startOld(request, patience, log);
        return code;
    }
    request.newDir = resolved(request.newDir);
    log.write("updating " + toText(request.oldDir) + " from " + toText(request.newDir) + ", " +
              toText(request.exe));
    return runLocked(request, patience, log);
}

int runProgram(int argc, NativeString::value_type* argv[], const Patience& patience)
{
    leaveCaller();
    const std::vector<NativeString> arguments(argv + (argc > 0 ? 1 : 0), argv + argc);
    return static_cast<int>(installUpdate(CommandLine::parse(arguments), patience));
}

} // namespace updateinstaller

#include "updateinstaller/Staging.h"

#include "updateinstaller/FileTree.h"
#include "updateinstaller/Retry.h"

namespace updateinstaller {

namespace {

// Keep some space free: neither the application nor its user can work with a full volume.
constexpr std::uint64_t spaceToSpare = 16 << 20;

/** By identity, not by name: names may differ in case or lead through links and mounts. */
bool isSameOrInside(const Path& path, const Path& folder)
{
    const Identity wanted = identityOf(folder);
    for (Path up = path;; up = up.parent_path()) {
        const Identity identity = identityOf(up);
        if (up == folder || (isSame(identity, wanted) && identity.volume == wanted.volume)) {
            return true;
        }
        if (isRoot(up) || up == up.parent_path()) {
            return false;
        }
    }
}

/** Empty if the folder does not contain the program. */
Path treeWithProgram(const Path& folder, const Path& exe)
{
    if (isProgram(folder / exe)) {
        return folder;
    }
    std::vector<Entry> entries;
    if (listFolder(folder, entries)) {
        return {};
    }
    Path onlyFolder;
    for (const auto& entry : entries) {
        if (entry.kind == Kind::eFolder) {
            if (!onlyFolder.empty()) {
                return {};
            }
            onlyFolder = folder / entry.name;
        }
    }
    return !onlyFolder.empty() && isProgram(onlyFolder / exe) ? onlyFolder : Path();
}

std::error_code copyIntoPlace(const WorkFolder& work, const Path& source)
{
    if (const auto error = copyTree(source, work.copying())) {
        return error;
    }
    return moveFolder(work.copying(), work.staged());
}

ExitCode stageByCopying(const WorkFolder& work, const Path& source, InstallLog& log)
{
    std::uint64_t needed = 0;
    std::uint64_t available = 0;
    auto error = measureTree(source, needed);
    error = error ? error : freeSpace(work.path(), available);
    if (!error && needed + spaceToSpare > available) {
        log.write("not enough space: " + std::to_string(needed + spaceToSpare) + " bytes needed, " +
                  std::to_string(available) + " free");
        return ExitCode::eNoSpace;
    }
    log.write("copying " + std::to_string(needed) + " bytes");
    error = error ? error : copyIntoPlace(work, source);
    if (error) {
        log.write("the new tree could not be copied", error);
        return error == std::errc::no_space_on_device ? ExitCode::eNoSpace
                                                      : ExitCode::eStagingFailed;
    }
    return ExitCode::eDone;
}

bool isFree(const WorkFolder& work)
{
    return kindOf(work.staged()) == Kind::eNothing && kindOf(work.backup()) == Kind::eNothing &&
           kindOf(work.copying()) == Kind::eNothing;
}

} // namespace

ExitCode findNewTree(const CommandLine& request, const WorkFolder& work, InstallLog& log,
                     Journal& journal)
{
    for (const Path& folder : {request.oldDir, request.newDir}) {
        if (kindOf(folder) != Kind::eFolder) {
            log.write("not an existing folder: " + toText(folder));
            return ExitCode::eFolderMissing;
        }
    }
    if (isSameOrInside(request.newDir, request.oldDir) ||
        isSameOrInside(request.oldDir, request.newDir) ||
        isSameOrInside(request.newDir, work.path())) {
        log.write("one folder lies in the other");
        return ExitCode::eBadArgument;
    }
    journal.newDir = request.newDir;
    journal.newDirId = identityOf(request.newDir);
    journal.oldTreeId = identityOf(request.oldDir);
    journal.source = treeWithProgram(request.newDir, request.exe);
    if (journal.source.empty()) {
        log.write("the new folder holds no program " + toText(request.exe));
        return ExitCode::eNoExecutable;
    }
    return ExitCode::eDone;
}

ExitCode stageNewTree(const WorkFolder& work, const Patience& patience, InstallLog& log,
                      Journal& journal)
{
    auto error = work.prepare();
    error = error ? error : work.writeJournal(journal);
    if (error) {
        log.write("cannot write to " + toText(work.path()), error);
        return ExitCode::eNotWritable;
    }
    if (!isFree(work)) {
        log.write("leftovers of an earlier update are in the way in " + toText(work.path()));
        return ExitCode::eLeftoverUnresolved;
    }
    error = retry(patience.passing, [&] { return moveFolder(journal.source, work.staged()); });
    if (error) {
        log.write("the new tree cannot be renamed, copying it", error);
        const ExitCode code = stageByCopying(work, journal.source, log);
        if (code != ExitCode::eDone) {
            return code;
        }
    }
    // Before the old tree is touched, the new one must be able to survive a power failure, names
    // included.
    error = flushTree(work.staged());
    error = error ? error : flushFolder(work.path());
    if (!error) {
        journal.phase = Journal::Phase::eSwapping;
        journal.newTreeId = identityOf(work.staged());
        error = work.writeJournal(journal);
    }
    if (error) {
        log.write("the new tree could not be staged", error);
        return error == std::errc::no_space_on_device ? ExitCode::eNoSpace
                                                      : ExitCode::eStagingFailed;
    }
    log.write("staged");
    return ExitCode::eDone;
}

bool isHandledBefore(const Path& newDir, const Journal& journal)
{
    if (newDir != journal.newDir) {
        return false;
    }
    return kindOf(newDir) == Kind::eNothing || isSame(identityOf(newDir), journal.newDirId);
}

} // namespace updateinstaller

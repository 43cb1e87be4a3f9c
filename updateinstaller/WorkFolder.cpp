#include "updateinstaller/WorkFolder.h"

#include "updateinstaller/FileTree.h"

namespace updateinstaller {

namespace {

const char* const markerText =
    "This folder belongs to UpdateInstaller, which removes it by itself when "
    "the update is complete.\n";
const char* const discarded = "discarded-";

bool isDiscarded(const Path& name)
{
    return name.native().rfind(Path(discarded).native(), 0) == 0;
}

} // namespace

WorkFolder::WorkFolder(const Path& applicationFolder, InstallLog& log)
    : m_path(applicationFolder)
    , m_log(log)
{
    m_path += ".UpdateInstaller";
}

WorkFolder::State WorkFolder::state() const
{
    const Kind kind = kindOf(m_path);
    if (kind == Kind::eNothing) {
        return State::eMissing;
    }
    std::vector<Entry> entries;
    if (kind != Kind::eFolder || listFolder(m_path, entries)) {
        return State::eForeign;
    }
    if (entries.empty()) {
        return State::eEmpty;
    }
    return kindOf(marker()) == Kind::eFile ? State::eOurs : State::eForeign;
}

std::error_code WorkFolder::prepare() const
{
    const State before = state();
    if (before == State::eMissing) {
        if (const auto error = makeFolder(m_path)) {
            return error;
        }
    }
    if (before != State::eOurs) {
        // The existence of the file is the marker, so a crash cannot leave half of one.
        if (const auto error = writeNewFile(marker(), markerText)) {
            return error;
        }
    }
    const auto error = flushFolder(m_path);
    return error ? error : flushFolder(m_path.parent_path());
}

std::error_code WorkFolder::writeJournal(const Journal& plan) const
{
    if (kindOf(nextJournal()) != Kind::eNothing) {
        if (const auto error = removeFile(nextJournal())) {
            return error;
        }
    }
    if (const auto error = writeNewFile(nextJournal(), plan.encode())) {
        return error;
    }
    if (const auto error = replaceFile(nextJournal(), journal())) {
        return error;
    }
    return flushFolder(m_path);
}

std::optional<Journal> WorkFolder::readJournal() const
{
    std::string text;
    if (readFile(journal(), text)) {
        return std::nullopt;
    }
    return Journal::decode(text);
}

std::error_code WorkFolder::discard(const Path& tree) const
{
    if (kindOf(tree) == Kind::eNothing) {
        return {};
    }
    for (int i = 1;; ++i) {
        const Path name = m_path / (discarded + std::to_string(i));
        if (kindOf(name) == Kind::eNothing) {
            return moveFolder(tree, name);
        }
    }
}

bool WorkFolder::purge() const
{
    std::vector<Entry> entries;
    std::error_code first = listFolder(m_path, entries);
    for (const auto& entry : entries) {
        if (isDiscarded(entry.name) || m_path / entry.name == copying()) {
            const auto error = removeTree(m_path / entry.name);
            first = first ? first : error;
        }
    }
    if (first) {
        m_log.write("not everything could be removed, left for the next run", first);
    }
    return !first;
}

void WorkFolder::remove() const
{
    std::vector<Entry> entries;
    std::error_code error = listFolder(m_path, entries);
    bool isOnlyOurs = !error;
    for (const auto& entry : entries) {
        const Path path = m_path / entry.name;
        isOnlyOurs = isOnlyOurs && (path == journal() || path == nextJournal() || path == marker());
    }
    if (!isOnlyOurs) {
        m_log.write("something is left in " + toText(m_path) + ", it stays for the next run");
        return;
    }
    // The marker is removed last: the next run could not remove an unmarked folder.
    for (const Path& file : {nextJournal(), journal(), marker()}) {
        if (!error && kindOf(file) != Kind::eNothing) {
            error = removeFile(file);
        }
    }
    error = error ? error : removeFolder(m_path);
    if (error) {
        m_log.write("could not remove " + toText(m_path) + ", it stays for the next run", error);
    }
}

} // namespace updateinstaller

#include "updateinstaller/FileTree.h"

namespace updateinstaller {

namespace {

using Visitor = std::function<std::error_code(const Path& relative, Kind kind)>;

std::error_code visitBelow(const Path& folder, const Path& relative, const Visitor& visit)
{
    std::vector<Entry> entries;
    if (const auto error = listFolder(relative.empty() ? folder : folder / relative, entries)) {
        return error;
    }
    for (const auto& entry : entries) {
        const Path path = relative / entry.name;
        if (const auto error = visit(path, entry.kind)) {
            return error;
        }
        if (entry.kind == Kind::eFolder) {
            if (const auto error = visitBelow(folder, path, visit)) {
                return error;
            }
        }
    }
    return {};
}

std::error_code copyEntry(const Path& from, const Path& to, Kind kind)
{
    switch (kind) {
    case Kind::eFile:
        return copyFile(from, to);
    case Kind::eLink:
        return copyLink(from, to);
    case Kind::eFolder:
        return makeFolder(to);
    default:
        return std::make_error_code(std::errc::not_supported);
    }
}

} // namespace

std::error_code forEachBelow(const Path& folder, const Visitor& visit)
{
    return visitBelow(folder, Path(), visit);
}

std::error_code removeTree(const Path& path)
{
    const Kind kind = kindOf(path);
    if (kind == Kind::eNothing) {
        return {};
    }
    if (kind == Kind::eLink) {
        const auto error = removeFile(path);
        return error ? removeFolder(path) : error;
    }
    if (kind != Kind::eFolder) {
        return removeFile(path);
    }
    unlockFolder(path);
    std::vector<Entry> entries;
    std::error_code first = listFolder(path, entries);
    for (const auto& entry : entries) {
        const auto error = removeTree(path / entry.name);
        first = first ? first : error;
    }
    const auto error = removeFolder(path);
    return first ? first : error;
}

std::error_code measureTree(const Path& folder, std::uint64_t& bytes)
{
    constexpr std::uint64_t block = 4096;
    bytes = block;
    return forEachBelow(folder, [&](const Path& relative, Kind kind) {
        const std::uint64_t size = kind == Kind::eFile ? sizeOf(folder / relative) : 0;
        bytes += (size / block + 1) * block;
        return std::error_code();
    });
}

std::error_code copyTree(const Path& from, const Path& to)
{
    std::vector<Path> folders{Path()};
    if (const auto error = makeFolder(to)) {
        return error;
    }
    const auto error = forEachBelow(from, [&](const Path& relative, Kind kind) {
        if (kind == Kind::eFolder) {
            folders.push_back(relative);
        }
        return copyEntry(from / relative, to / relative, kind);
    });
    if (error) {
        return error;
    }
    // At the end and the innermost first: filling a folder changes its time and may require a
    // permission that it will lose.
    while (!folders.empty()) {
        const Path relative = folders.back();
        folders.pop_back();
        const Path target = relative.empty() ? to : to / relative;
        if (const auto failed =
                copyFolderAttributes(relative.empty() ? from : from / relative, target)) {
            return failed;
        }
    }
    return {};
}

std::error_code findHeldFile(const Path& folder, Path& file)
{
    return forEachBelow(folder, [&](const Path& relative, Kind kind) {
        const auto error =
            kind == Kind::eFile ? probeExclusive(folder / relative) : std::error_code();
        if (error) {
            file = folder / relative;
        }
        return error;
    });
}

} // namespace updateinstaller

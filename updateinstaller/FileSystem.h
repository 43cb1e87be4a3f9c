#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

/**
 * The few calls to the system's files that this program is made of, each as close to one system
 * call as the platform allows. Everything that changes the disk is done here or in FolderLock.
 * Paths are absolute and may be longer than the classic limit of Windows. No function follows a
 * link in the last component, none throws; a change answers the system's error, or none.
 */
namespace updateinstaller {

/** Holds and takes apart names in the platform's own encoding; its disk operations are not used. */
using Path = std::filesystem::path;
using NativeString = Path::string_type;

enum class Kind {
    eNothing, //!< surely not there
    eFile,
    eFolder,
    eLink,  //!< symbolic link or junction
    eOther, //!< a device, a socket, or something that could not be looked at
};

struct Entry
{
    Path name;
    Kind kind;
};

/** Tells one folder from another, whatever they are called; survives a rename. */
struct Identity
{
    std::uint64_t volume = 0; //!< may change when the system is started again
    std::uint64_t file = 0;
    std::uint64_t birth = 0; //!< tells apart two files that had the same number one after the other

    [[nodiscard]] bool isKnown() const { return file != 0; }
};

/** Same file, also across a restart of the system; an unknown identity equals nothing. */
[[nodiscard]] bool isSame(const Identity& one, const Identity& other);

// Looking

[[nodiscard]] Kind kindOf(const Path& path);
[[nodiscard]] Identity identityOf(const Path& path);
[[nodiscard]] bool isAbsolute(const Path& path);
[[nodiscard]] bool isRoot(const Path& path);
[[nodiscard]] bool isBareName(const Path& name);
/** A file that this user may start; links are followed. */
[[nodiscard]] bool isProgram(const Path& file);
/** As text for people, in UTF-8. */
[[nodiscard]] std::string toText(const Path& path);
/**
 * The absolute path with links resolved (Windows: short names made long, in the case that the disk
 * has) and without a trailing separator. The last component need not exist.
 */
[[nodiscard]] Path resolved(const Path& path);
[[nodiscard]] std::error_code listFolder(const Path& folder, std::vector<Entry>& entries);
[[nodiscard]] std::error_code readFile(const Path& path, std::string& contents);
/** Size in bytes of a file; 0 when it cannot be told. */
[[nodiscard]] std::uint64_t sizeOf(const Path& file);
/** Bytes that this user may still write to the volume of @p folder. */
[[nodiscard]] std::error_code freeSpace(const Path& folder, std::uint64_t& bytes);
/** No error when nobody else uses the file in a way that would keep it from being replaced. */
[[nodiscard]] std::error_code probeExclusive(const Path& file);
/** Who uses the file, as far as the system tells; else empty. */
[[nodiscard]] std::string holderOf(const Path& file);

// What an error means

/** Somebody else is at it: worth another try. */
[[nodiscard]] bool isTransient(std::error_code error);
[[nodiscard]] bool isOtherVolume(std::error_code error);
[[nodiscard]] bool isExchangeUnsupported(std::error_code error);

// Changing

[[nodiscard]] std::error_code makeFolder(const Path& folder);
/** Renames a folder within its volume; the target must not exist. */
[[nodiscard]] std::error_code moveFolder(const Path& from, const Path& to);
/** Renames a file within its volume, over an existing one. */
[[nodiscard]] std::error_code replaceFile(const Path& from, const Path& to);
/** Lets two folders of one volume change names, in one step that cannot be seen half done. */
[[nodiscard]] std::error_code exchangeFolders(const Path& one, const Path& other);
/** Removes a file or a link. */
[[nodiscard]] std::error_code removeFile(const Path& path);
/** Removes an empty folder, or a link to a folder. */
[[nodiscard]] std::error_code removeFolder(const Path& folder);
/** Makes what is in the folder removable by its owner. */
void unlockFolder(const Path& folder);
/** Writes a file that must not exist yet and flushes it to the disk. */
[[nodiscard]] std::error_code writeNewFile(const Path& path, std::string_view contents);
/** Appends in one piece, so that lines of several processes do not mix; makes the file when needed.
 */
[[nodiscard]] std::error_code appendToFile(const Path& path, std::string_view contents);
/** Contents, permissions and modification time; the target must not exist. Not flushed. */
[[nodiscard]] std::error_code copyFile(const Path& from, const Path& to);
[[nodiscard]] std::error_code copyLink(const Path& from, const Path& to);
/** Permissions and modification time of a folder, to be called once it is filled. */
[[nodiscard]] std::error_code copyFolderAttributes(const Path& from, const Path& to);
/** Flushes the names in a folder to the disk. */
[[nodiscard]] std::error_code flushFolder(const Path& folder);
/** Flushes all files below the folder to the disk. */
[[nodiscard]] std::error_code flushTree(const Path& folder);

} // namespace updateinstaller

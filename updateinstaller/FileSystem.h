#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

/**
 * The file operations of this program, each as close to a single system call as the platform
 * allows. Everything that changes the disk is done here or in FolderLock. Paths are absolute and
 * may exceed the classic limit of Windows. No function follows a link in the last component, none
 * throws; functions that change something return the system's error.
 */
namespace updateinstaller {

/** Stores and splits names in the platform's encoding; its disk operations are not used. */
using Path = std::filesystem::path;
using NativeString = Path::string_type;

enum class Kind {
    eNothing, //!< certainly does not exist
    eFile,
    eFolder,
    eLink,  //!< symbolic link or junction
    eOther, //!< a device, a socket, or an entry that could not be examined
};

struct Entry
{
    Path name;
    Kind kind;
};

/** Identifies a file or folder independently of its name; survives a rename. */
struct Identity
{
    std::uint64_t volume = 0; //!< may change when the system restarts
    std::uint64_t file = 0;
    std::uint64_t birth = 0; //!< distinguishes files that had the same number at different times

    [[nodiscard]] bool isKnown() const { return file != 0; }
};

/**
 * Whether they are the same file, also across restarts of the system; an unknown identity equals
 * nothing.
 */
[[nodiscard]] bool isSame(const Identity& one, const Identity& other);

// Looking

[[nodiscard]] Kind kindOf(const Path& path);
[[nodiscard]] Identity identityOf(const Path& path);
[[nodiscard]] bool isAbsolute(const Path& path);
[[nodiscard]] bool isRoot(const Path& path);
[[nodiscard]] bool isBareName(const Path& name);
/** Whether it is a file that this user may execute; follows links. */
[[nodiscard]] bool isProgram(const Path& file);
/** For messages, in UTF-8. */
[[nodiscard]] std::string toText(const Path& path);
/**
 * The absolute path with links resolved (Windows: short names made long, in the case that the disk
 * has) and without a trailing separator. The last component need not exist.
 */
[[nodiscard]] Path resolved(const Path& path);
[[nodiscard]] std::error_code listFolder(const Path& folder, std::vector<Entry>& entries);
[[nodiscard]] std::error_code readFile(const Path& path, std::string& contents);
/** Size of a file in bytes; 0 if unknown. */
[[nodiscard]] std::uint64_t sizeOf(const Path& file);
/** Bytes that this user may still write to the volume of @p folder. */
[[nodiscard]] std::error_code freeSpace(const Path& folder, std::uint64_t& bytes);
/** No error if no other process uses the file in a way that prevents replacing it. */
[[nodiscard]] std::error_code probeExclusive(const Path& file);
/** The processes that use the file, if the system reports them; otherwise empty. */
[[nodiscard]] std::string holderOf(const Path& file);

// What an error means

/** In use by another process: worth another attempt. */
[[nodiscard]] bool isTransient(std::error_code error);
[[nodiscard]] bool isOtherVolume(std::error_code error);
[[nodiscard]] bool isExchangeUnsupported(std::error_code error);

// Changing

[[nodiscard]] std::error_code makeFolder(const Path& folder);
/** Renames a folder within its volume; the target must not exist. */
[[nodiscard]] std::error_code moveFolder(const Path& from, const Path& to);
/** Renames a file within its volume, over an existing one. */
[[nodiscard]] std::error_code replaceFile(const Path& from, const Path& to);
/** Exchanges two folders of one volume atomically. */
[[nodiscard]] std::error_code exchangeFolders(const Path& one, const Path& other);
/** Removes a file or a link. */
[[nodiscard]] std::error_code removeFile(const Path& path);
/** Removes an empty folder, or a link to a folder. */
[[nodiscard]] std::error_code removeFolder(const Path& folder);
/** Lets the owner remove the contents of the folder. */
void unlockFolder(const Path& folder);
/** Writes a file that must not exist yet and flushes it to the disk. */
[[nodiscard]] std::error_code writeNewFile(const Path& path, std::string_view contents);
/**
 * Appends in a single write, so lines of several processes do not mix; creates the file if needed.
 */
[[nodiscard]] std::error_code appendToFile(const Path& path, std::string_view contents);
/**
 * Copies contents, permissions and modification time; the target must not exist. Does not flush.
 */
[[nodiscard]] std::error_code copyFile(const Path& from, const Path& to);
[[nodiscard]] std::error_code copyLink(const Path& from, const Path& to);
/** Copies permissions and modification time of a folder; call it once the folder is filled. */
[[nodiscard]] std::error_code copyFolderAttributes(const Path& from, const Path& to);
/** Flushes the directory entries of a folder to the disk. */
[[nodiscard]] std::error_code flushFolder(const Path& folder);
/** Flushes all files below the folder to the disk. */
[[nodiscard]] std::error_code flushTree(const Path& folder);

} // namespace updateinstaller

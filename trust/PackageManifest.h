#pragma once

#include "trust/Blake2b.h"
#include "trust/Minisign.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace trust {

/** What makes a file of a package from one of an older version. */
struct ManifestPatch
{
    /** Of the older file. */
    std::uint64_t oldSize = 0;
    Blake2b256::Digest oldHash{};
    /** Of the patch, in the file of patches. */
    std::uint64_t offset = 0;
    std::uint64_t size = 0;
    Blake2b256::Digest hash{};
};

/** A file of a package, and where its packed bytes are in the archive. */
struct ManifestFile
{
    enum Method { eStored, eDeflated };

    /** Of the packed bytes in the archive; 0 if there are none. */
    std::uint64_t offset = 0;
    std::uint64_t packedSize = 0;
    Blake2b256::Digest packedHash{};
    Method method = eStored;
    /** Of the contents. */
    std::uint64_t size = 0;
    Blake2b256::Digest hash{};
    /** The nine permission bits of Unix, if the archive has them. */
    std::optional<unsigned> mode;
    /** UTF-8, relative, with "/" between the names. */
    std::string path;
    std::vector<ManifestPatch> patches;
};

/**
 * What a ZIP package consists of, down to each file: the text that is signed and published beside
 * it as "PACKAGE.manifest".
 */
struct PackageManifest
{
    std::string product;
    std::vector<std::string> platforms;
    std::string release;
    /** Name, size and hash of the ZIP. */
    std::string archive;
    std::uint64_t archiveSize = 0;
    Blake2b256::Digest archiveHash{};
    /** Paths of folders, without "/" at the end; those of files need not be among them. */
    std::vector<std::string> folders;
    /** In the order of their offsets. */
    std::vector<ManifestFile> files;
    /** Size of the file of patches beside the ZIP; 0: there is none. */
    std::uint64_t patchesSize = 0;
};

constexpr std::string_view manifestSuffix = ".manifest";
/** The name of the manifest in an installed folder, never that of an entry. */
constexpr std::string_view installedManifestName = ".softwareupdate-manifest";
constexpr std::size_t maximumManifestSize = std::size_t(32) * 1024 * 1024;
/** Of files, folders and patches. */
constexpr std::size_t maximumManifestEntries = 200'000;
constexpr std::string_view patchesSuffix = ".patches";
/** Of one patch, which is applied in memory. */
constexpr std::uint64_t maximumPatchSize = std::uint64_t(64) * 1024 * 1024;
/** What applying a patch may take: the older file, and the window. */
constexpr std::uint64_t maximumPatchMemory = std::uint64_t(512) * 1024 * 1024;

/** The binary logarithm of the window that a patch for a file of @p newSize bytes needs, so that
 * all of the older file stays in reach; nothing if that would take too much memory. */
std::optional<int> patchWindowLog(std::uint64_t oldSize, std::uint64_t newSize);

/**
 * The manifest in @p text, or the error. Whatever it is, paths are safe to write below a folder,
 * none occurs twice (letter case counts), packed bytes neither overlap nor leave the archive, and
 * patches are in their file.
 */
std::variant<PackageManifest, std::string> parseManifest(std::string_view text);

/** The text of a manifest that parseManifest() would accept. */
std::string manifestText(const PackageManifest& manifest);

/**
 * The manifest @p text of the ZIP that is called @p archive, signed with @p signature by one of
 * @p keys; or the reason against it. The signature must name file and release.
 */
std::variant<PackageManifest, std::string> acceptManifest(std::string_view text,
                                                          std::string_view signature,
                                                          std::string_view archive,
                                                          const std::vector<PublicKey>& keys);

/** 64 hexadecimal digits. */
std::string hexText(const Blake2b256::Digest& digest);

} // namespace trust

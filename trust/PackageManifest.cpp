#include "trust/PackageManifest.h"

#include "trust/EntryName.h"
#include "trust/Text.h"

#include <sodium.h>

#include <algorithm>
#include <charconv>
#include <unordered_set>
#include <utility>

namespace trust {

namespace {

constexpr std::string_view firstLine = "softwareupdate-manifest 1";
constexpr std::string_view unknownMode = "-";
constexpr unsigned permissionBits = 0777;
/** Far more than any file has; sums of two do not overflow. */
constexpr std::uint64_t maximumSize = std::uint64_t(1) << 60U;
/** Deflate cannot do better (RFC 1951: 258 bytes for two bits). */
constexpr std::uint64_t mostInflated = 1032;

std::optional<std::uint64_t> parseNumber(std::string_view word, int base, std::uint64_t largest)
{
    std::uint64_t value = 0;
    const auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), value, base);
    const bool isFine = error == std::errc() && end == word.data() + word.size();
    return isFine && value <= largest ? std::optional(value) : std::nullopt;
}

/** Takes words from a line, the last of which may hold blanks. */
class Words
{
public:
    explicit Words(std::string_view line)
        : m_rest(line)
    {
    }

    std::string_view next()
    {
        const std::size_t end = std::min(m_rest.find(' '), m_rest.size());
        const std::string_view word = m_rest.substr(0, end);
        m_rest.remove_prefix(std::min(end + 1, m_rest.size()));
        m_isFine = m_isFine && !word.empty();
        return word;
    }

    std::string rest()
    {
        m_isFine = m_isFine && !m_rest.empty();
        return std::string(std::exchange(m_rest, {}));
    }

    std::uint64_t number()
    {
        constexpr int decimal = 10;
        return checked(parseNumber(next(), decimal, maximumSize));
    }

    ManifestFile::Method method()
    {
        const std::string_view word = next();
        m_isFine = m_isFine && (word == "stored" || word == "deflated");
        return word == "deflated" ? ManifestFile::eDeflated : ManifestFile::eStored;
    }

    std::optional<unsigned> mode()
    {
        constexpr int octal = 8;
        const std::string_view word = next();
        return word == unknownMode
                   ? std::nullopt
                   : std::optional(unsigned(checked(parseNumber(word, octal, permissionBits))));
    }

    Blake2b256::Digest digest()
    {
        Blake2b256::Digest bytes{};
        const std::string_view word = next();
        std::size_t length = 0;
        const int result = sodium_hex2bin(bytes.data(), bytes.size(), word.data(), word.size(),
                                          nullptr, &length, nullptr);
        m_isFine = m_isFine && result == 0 && length == bytes.size();
        return bytes;
    }

    /** Every word was there and was what it should be. */
    [[nodiscard]] bool isFine() const { return m_isFine; }

private:
    std::string_view m_rest;
    bool m_isFine = true;

    std::uint64_t checked(std::optional<std::uint64_t> value)
    {
        m_isFine = m_isFine && value;
        return value.value_or(0);
    }
};

ManifestFile readFile(Words& words)
{
    ManifestFile file;
    file.offset = words.number();
    file.packedSize = words.number();
    file.packedHash = words.digest();
    file.method = words.method();
    file.size = words.number();
    file.hash = words.digest();
    file.mode = words.mode();
    file.path = words.rest();
    return file;
}

ManifestPatch readPatch(Words& words)
{
    ManifestPatch patch;
    patch.oldSize = words.number();
    patch.oldHash = words.digest();
    patch.offset = words.number();
    patch.size = words.number();
    patch.hash = words.digest();
    return patch;
}

void readArchive(Words& words, PackageManifest& manifest)
{
    manifest.archiveSize = words.number();
    manifest.archiveHash = words.digest();
    manifest.archive = words.rest();
}

/** Whether the line has the form of its first word; unknown ones do. */
bool readLine(std::string_view line, PackageManifest& manifest)
{
    Words words(line);
    const std::string_view kind = words.next();
    if (kind == "file") {
        manifest.files.push_back(readFile(words));
    } else if (kind == "patch" && !manifest.files.empty()) {
        manifest.files.back().patches.push_back(readPatch(words));
    } else if (kind == "patches" && manifest.patchesSize == 0) {
        manifest.patchesSize = words.number();
    } else if (kind == "folder") {
        manifest.folders.push_back(words.rest());
    } else if (kind == "archive" && manifest.archive.empty()) {
        readArchive(words, manifest);
    } else if (kind == "product" && manifest.product.empty()) {
        manifest.product = words.rest();
    } else if (kind == "release" && manifest.release.empty()) {
        manifest.release = words.rest();
    } else if (kind == "platform") {
        manifest.platforms.push_back(words.rest());
    } else if (kind == "archive" || kind == "product" || kind == "release" || kind == "patch" ||
               kind == "patches") {
        return false; // twice, or of no file
    }
    return words.isFine();
}

std::string_view nameComplaint(std::string_view path)
{
    if (lowerCase(path.substr(0, path.find('/'))) == installedManifestName) {
        return "has the name of the installed manifest";
    }
    return path.back() == '/' ? "has an empty folder name in its path" : entryNameComplaint(path);
}

std::string_view sizeComplaint(const ManifestFile& file)
{
    if (file.method == ManifestFile::eStored &&
        (file.packedSize != file.size || file.packedHash != file.hash)) {
        return "is stored, but is not the same when unpacked";
    }
    if ((file.size + mostInflated - 1) / mostInflated > file.packedSize) {
        return "cannot have that size";
    }
    return {};
}

/** Of the patches of all files. */
std::string patchComplaint(const PackageManifest& manifest)
{
    std::size_t entries = manifest.files.size() + manifest.folders.size();
    for (const ManifestFile& file : manifest.files) {
        entries += file.patches.size();
        for (const ManifestPatch& patch : file.patches) {
            if (patch.size == 0 || patch.size > maximumPatchSize ||
                patch.offset + patch.size > manifest.patchesSize) {
                return "a patch for '" + file.path + "' is too large, or outside their file";
            }
        }
    }
    if (entries > maximumManifestEntries) {
        return "it has more than " + std::to_string(maximumManifestEntries) + " entries";
    }
    return {};
}

/** The first complaint about a file or folder, with its name. */
std::string entryComplaint(const PackageManifest& manifest)
{
    std::unordered_set<std::string_view> paths;
    const auto complaintAbout = [&paths](const std::string& path) -> std::string_view {
        const std::string_view complaint = nameComplaint(path);
        if (complaint.empty() && !paths.insert(path).second) {
            return "is named twice";
        }
        return complaint;
    };
    const auto complaintWith = [](const std::string& path, std::string_view complaint) {
        return "the entry '" + path + "' " + std::string(complaint);
    };
    for (const std::string& folder : manifest.folders) {
        if (const auto complaint = complaintAbout(folder); !complaint.empty()) {
            return complaintWith(folder, complaint);
        }
    }
    std::uint64_t end = 0; // of the packed bytes so far
    for (const ManifestFile& file : manifest.files) {
        std::string_view complaint = complaintAbout(file.path);
        complaint = complaint.empty() ? sizeComplaint(file) : complaint;
        if (complaint.empty() && file.packedSize > 0) {
            complaint = file.offset < end ? "shares its bytes with another entry" : complaint;
            end = file.offset + file.packedSize;
            complaint = end > manifest.archiveSize ? "is outside the archive" : complaint;
        }
        if (!complaint.empty()) {
            return complaintWith(file.path, complaint);
        }
    }
    return {};
}

std::string complaintAbout(const PackageManifest& manifest)
{
    if (manifest.product.empty() || manifest.release.empty() || manifest.archive.empty() ||
        manifest.platforms.empty()) {
        return "it does not name product, platform, release and archive";
    }
    std::string complaint = patchComplaint(manifest);
    return complaint.empty() ? entryComplaint(manifest) : complaint;
}

} // namespace

std::variant<PackageManifest, std::string> parseManifest(std::string_view text)
{
    if (text.size() > maximumManifestSize) {
        return "it is too large";
    }
    if (!isUtf8(text)) {
        return "it is not UTF-8";
    }
    PackageManifest manifest;
    std::size_t number = 0;
    while (!text.empty()) {
        const std::size_t end = std::min(text.find('\n'), text.size());
        const std::string_view line = text.substr(0, end);
        text.remove_prefix(std::min(end + 1, text.size()));
        const bool isFine =
            ++number == 1 ? line == firstLine : line.empty() || readLine(line, manifest);
        if (!isFine) {
            return "its line " + std::to_string(number) + " cannot be read";
        }
    }
    std::string complaint = complaintAbout(manifest);
    if (!complaint.empty()) {
        return complaint;
    }
    return manifest;
}

std::string manifestText(const PackageManifest& manifest)
{
    std::string text(firstLine);
    text += "\nproduct " + manifest.product;
    for (const std::string& platform : manifest.platforms) {
        text += "\nplatform " + platform;
    }
    text += "\nrelease " + manifest.release;
    if (manifest.patchesSize > 0) {
        text += "\npatches " + std::to_string(manifest.patchesSize);
    }
    text += "\narchive " + std::to_string(manifest.archiveSize) + ' ' +
            hexText(manifest.archiveHash) + ' ' + manifest.archive + '\n';
    for (const std::string& folder : manifest.folders) {
        text += "folder " + folder + '\n';
    }
    for (const ManifestFile& file : manifest.files) {
        std::string mode(unknownMode);
        if (file.mode) {
            mode = {char('0' + (*file.mode >> 6U & 7U)), char('0' + (*file.mode >> 3U & 7U)),
                    char('0' + (*file.mode & 7U))};
        }
        text += "file " + std::to_string(file.offset) + ' ' + std::to_string(file.packedSize) +
                ' ' + hexText(file.packedHash) +
                (file.method == ManifestFile::eDeflated ? " deflated " : " stored ") +
                std::to_string(file.size) + ' ' + hexText(file.hash) + ' ' + mode + ' ' +
                file.path + '\n';
        for (const ManifestPatch& patch : file.patches) {
            text += "patch " + std::to_string(patch.oldSize) + ' ' + hexText(patch.oldHash) + ' ' +
                    std::to_string(patch.offset) + ' ' + std::to_string(patch.size) + ' ' +
                    hexText(patch.hash) + '\n';
        }
    }
    return text;
}

std::variant<PackageManifest, std::string> acceptManifest(std::string_view text,
                                                          std::string_view signature,
                                                          std::string_view archive,
                                                          const std::vector<PublicKey>& keys)
{
    const auto parsed = parseSignature(signature);
    if (const auto* const error = std::get_if<std::string>(&parsed)) {
        return *error;
    }
    const auto& made = std::get<Signature>(parsed);
    const auto signer = signerOf(made, keys);
    if (const auto* const error = std::get_if<std::string>(&signer)) {
        return *error;
    }
    const auto digest = Blake2b512::of(text);
    const std::string_view hash(reinterpret_cast<const char*>(digest.data()), digest.size());
    const bool isPrehashed = made.algorithm == Signature::ePrehashed;
    if (!isSigned(std::get<PublicKey>(signer), made, isPrehashed ? hash : text)) {
        return "it is not the one that was signed";
    }
    const std::string name = std::string(archive) + std::string(manifestSuffix);
    if (commentField(made.trustedComment, "file") != name) {
        return "its signature does not name the file '" + name + "'";
    }
    auto manifest = parseManifest(text);
    if (const auto* const read = std::get_if<PackageManifest>(&manifest)) {
        if (commentField(made.trustedComment, "release") != read->release) {
            return "its signature does not name release '" + read->release + "'";
        }
        if (read->archive != archive) {
            return "it was made for the archive '" + read->archive + "'";
        }
    }
    return manifest;
}

std::optional<int> patchWindowLog(std::uint64_t oldSize, std::uint64_t newSize)
{
    constexpr int smallest = 10; // of the format (RFC 8878, section 3.1.1.1.2)
    int log = smallest;
    while (log < 63 && (std::uint64_t(1) << unsigned(log)) < newSize) {
        ++log;
    }
    const std::uint64_t window = std::uint64_t(1) << unsigned(log);
    return oldSize <= maximumPatchMemory && window <= maximumPatchMemory - oldSize
               ? std::optional(log)
               : std::nullopt;
}

std::string hexText(const Blake2b256::Digest& digest)
{
    std::string text(digest.size() * 2 + 1, '\0');
    sodium_bin2hex(text.data(), text.size(), digest.data(), digest.size());
    text.pop_back();
    return text;
}

} // namespace trust

#include "trust/Minisign.h"

#include "trust/Text.h"

#include <sodium.h>

#include <algorithm>
#include <cstring>

namespace trust {

namespace {

constexpr std::size_t letters = 2;

/** Decodes a base64 line; nothing unless it has exactly @p size bytes. */
std::optional<std::string> decoded(std::string_view line, std::size_t size)
{
    std::string bytes(size, '\0');
    std::size_t length = 0;
    const int result =
        sodium_base642bin(reinterpret_cast<unsigned char*>(bytes.data()), size, line.data(),
                          line.size(), nullptr, &length, nullptr, sodium_base64_VARIANT_ORIGINAL);
    return result == 0 && length == size ? std::optional(bytes) : std::nullopt;
}

template <std::size_t Size>
void take(const std::string& bytes, std::size_t from, std::array<unsigned char, Size>& target)
{
    std::memcpy(target.data(), bytes.data() + from, Size);
}

bool isSignedBy(const PublicKey& key, const std::array<unsigned char, 64>& signature,
                std::string_view bytes)
{
    return crypto_sign_verify_detached(signature.data(),
                                       reinterpret_cast<const unsigned char*>(bytes.data()),
                                       bytes.size(), key.key.data()) == 0;
}

} // namespace

std::optional<PublicKey> parsePublicKey(std::string_view text)
{
    const std::string_view trimmedText = trimmed(text);
    const std::string_view line = trimmed(trimmedText.substr(trimmedText.rfind('\n') + 1));
    PublicKey key;
    const auto bytes = decoded(line, letters + sizeof(key.id) + sizeof(key.key));
    if (!bytes || !beginsWith(*bytes, "Ed")) {
        return std::nullopt;
    }
    take(*bytes, letters, key.id);
    take(*bytes, letters + key.id.size(), key.key);
    return key;
}

std::variant<Signature, std::string> parseSignature(std::string_view text)
{
    constexpr std::string_view trusted = "trusted comment: ";
    if (text.size() > maximumSignatureSize) {
        return "it is not a signature file";
    }
    std::vector<std::string_view> lines = split(text, '\n');
    while (!lines.empty() && trimmed(lines.back()).empty()) {
        lines.pop_back();
    }
    for (std::string_view& line : lines) {
        line.remove_suffix(!line.empty() && line.back() == '\r' ? 1 : 0);
    }
    if (lines.size() != 4 || !beginsWith(lines[0], "untrusted comment: ") ||
        !beginsWith(lines[2], trusted)) {
        return "it is not a signature file";
    }
    Signature signature;
    const auto bytes =
        decoded(lines[1], letters + sizeof(signature.id) + sizeof(signature.signature));
    const auto global = decoded(lines[3], sizeof(signature.globalSignature));
    if (!bytes || !global || !(beginsWith(*bytes, "ED") || beginsWith(*bytes, "Ed"))) {
        return "its signatures cannot be decoded";
    }
    signature.algorithm = beginsWith(*bytes, "ED") ? Signature::ePrehashed : Signature::eLegacy;
    take(*bytes, letters, signature.id);
    take(*bytes, letters + signature.id.size(), signature.signature);
    take(*global, 0, signature.globalSignature);
    signature.trustedComment = lines[2].substr(trusted.size());
    return signature;
}

std::variant<PublicKey, std::string> signerOf(const Signature& signature,
                                              const std::vector<PublicKey>& keys)
{
    if (sodium_init() < 0) {
        return "cryptography is not available";
    }
    const auto key = std::find_if(keys.begin(), keys.end(), [&signature](const PublicKey& known) {
        return known.id == signature.id;
    });
    if (key == keys.end()) {
        return "it was made with an unknown key";
    }
    std::string comment(signature.signature.begin(), signature.signature.end());
    comment += signature.trustedComment;
    if (!isSignedBy(*key, signature.globalSignature, comment)) {
        return "its trusted comment is not signed by the key";
    }
    return *key;
}

bool isSigned(const PublicKey& key, const Signature& signature, std::string_view bytes)
{
    return isSignedBy(key, signature.signature, bytes);
}

std::optional<std::string> commentField(std::string_view trustedComment, std::string_view name)
{
    const std::string prefix = std::string(name) + ':';
    for (const std::string_view field : split(trustedComment, '\t')) {
        if (beginsWith(field, prefix)) {
            return std::string(field.substr(prefix.size()));
        }
    }
    return std::nullopt;
}

} // namespace trust

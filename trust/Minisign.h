#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace trust {

// Ed25519 signatures of files in the format of the minisign program. Key and signature files are
// short texts; their base64 lines begin with two letters for the algorithm and an 8-byte key id.

using KeyId = std::array<unsigned char, 8>;

struct PublicKey
{
    KeyId id;
    std::array<unsigned char, 32> key;
};

struct Signature
{
    enum Algorithm {
        /** The file itself is signed: it is needed as a whole. */
        eLegacy,
        /** The BLAKE2b-512 hash of the file is signed. */
        ePrehashed,
    };

    Algorithm algorithm;
    KeyId id;
    std::array<unsigned char, 64> signature;
    /** Covered by a second signature, so it cannot be moved to another file's signature. */
    std::string trustedComment;
    std::array<unsigned char, 64> globalSignature;
};

/** Upper bound for the size of a signature file: two comments and two base64 lines. */
constexpr std::size_t maximumSignatureSize = 16 * 1024;

/**
 * Parses a public key as minisign prints it, or the text of a key file; nothing for anything else.
 */
std::optional<PublicKey> parsePublicKey(std::string_view text);

/** The signature in @p text, or the error. */
std::variant<Signature, std::string> parseSignature(std::string_view text);

/**
 * The key among @p keys that made @p signature and its trusted comment, or the error. The comment
 * may be trusted then; whether the file is the signed one is still open.
 */
std::variant<PublicKey, std::string> signerOf(const Signature& signature,
                                              const std::vector<PublicKey>& keys);

/**
 * Whether @p key made @p signature of @p bytes: the BLAKE2b-512 hash of the file, or, with a legacy
 * signature, the file itself.
 */
[[nodiscard]] bool isSigned(const PublicKey& key, const Signature& signature,
                            std::string_view bytes);

/** The value of the field "name:value" of a trusted comment, whose fields are separated by tabs. */
std::optional<std::string> commentField(std::string_view trustedComment, std::string_view name);

} // namespace trust

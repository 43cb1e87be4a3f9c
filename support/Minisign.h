#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <array>
#include <functional>
#include <memory>
#include <optional>
#include <variant>
#include <vector>

class QIODevice;

namespace zk::Minisign {

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
        /** The file itself is signed: it is mapped as a whole. */
        eLegacy,
        /** The BLAKE2b-512 hash of the file is signed. */
        ePrehashed,
    };

    Algorithm algorithm;
    KeyId id;
    std::array<unsigned char, 64> signature;
    /** Covered by a second signature, so it cannot be moved to another file's signature. */
    QByteArray trustedComment;
    std::array<unsigned char, 64> globalSignature;
};

/** Upper bound for the size of a signature file: two comments and two base64 lines. */
constexpr int maximumSignatureSize = 16 * 1024;

/** The largest file with a legacy signature: it is checked in one step, which cannot be
 * interrupted. */
constexpr qint64 maximumLegacyFileSize = 512LL * 1024 * 1024;

/** Called after each megabyte with the number of bytes read; return false to cancel. */
using Progress = std::function<bool(qint64)>;

/**
 * Parses a public key as minisign prints it, or the text of a key file; nothing for anything else.
 */
std::optional<PublicKey> parsePublicKey(const QString& text);

/** The signature in @p text, or the error. */
std::variant<Signature, QString> parseSignature(const QByteArray& text);

/**
 * The key among @p keys that made @p signature and its trusted comment, or the error. The comment
 * may be trusted then; whether the file is the signed one is still open.
 */
std::variant<PublicKey, QString> signerOf(const Signature& signature,
                                          const std::vector<PublicKey>& keys);

/** Whether @p key signed, with the prehashed @p signature, a file with this @p hash. */
[[nodiscard]] bool isSignedHash(const PublicKey& key, const Signature& signature,
                                const QByteArray& hash);

/**
 * Why the file @p path is not the one that @p key signed with the legacy @p signature; empty if it
 * is. Maps the whole file, blocks, and cannot be cancelled.
 */
QString legacyComplaint(const PublicKey& key, const Signature& signature, const QString& path);

/** The BLAKE2b-512 hash of bytes that arrive in pieces. */
class Hash final
{
public:
    Hash();
    ~Hash();
    Q_DISABLE_COPY(Hash)

    void add(const char* data, qint64 size);
    /** 64 bytes; ends the hash. */
    [[nodiscard]] QByteArray result();

private:
    struct State;
    const std::unique_ptr<State> m_state;
};

/**
 * The BLAKE2b-512 hash (64 bytes) of the rest of @p device; nothing if reading fails or is
 * cancelled.
 */
std::optional<QByteArray> hashOf(QIODevice& device, const Progress& progress = {});

/** The value of the field "name:value" of a trusted comment, whose fields are separated by tabs. */
std::optional<QString> commentField(const QByteArray& trustedComment, const QString& name);

} // namespace zk::Minisign

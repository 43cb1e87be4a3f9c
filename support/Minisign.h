#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <array>
#include <functional>
#include <optional>
#include <variant>
#include <vector>

class QIODevice;

namespace zk::Minisign {

// Ed25519 signatures of files in the format of the minisign program: key and signature files are
// short texts whose lines of base64 begin with two letters for the algorithm and eight bytes that
// name the key.

using KeyId = std::array<unsigned char, 8>;

struct PublicKey
{
    KeyId id;
    std::array<unsigned char, 32> key;
};

struct Signature
{
    enum Algorithm {
        /** The file itself is signed: it must fit into memory. */
        eLegacy,
        /** Its BLAKE2b-512 hash is. */
        ePrehashed,
    };

    Algorithm algorithm;
    KeyId id;
    std::array<unsigned char, 64> signature;
    /** Signed together with the signature, so that it cannot be moved to another. */
    QByteArray trustedComment;
    std::array<unsigned char, 64> globalSignature;
};

/** No signature file is larger: two comments and two lines of base64. */
constexpr int maximumSignatureSize = 16 * 1024;

/** The largest file with a legacy signature: it is read and hashed as one, which nothing can
 * interrupt. */
constexpr qint64 maximumLegacyFileSize = 512LL * 1024 * 1024;

/** Is told every megabyte how many bytes have been read, and says whether to go on. */
using Progress = std::function<bool(qint64)>;

/** A public key as minisign prints it, or the whole text of a key file; nothing for anything else.
 */
std::optional<PublicKey> parsePublicKey(const QString& text);

/** The signature in @p text, or what is wrong with it. */
std::variant<Signature, QString> parseSignature(const QByteArray& text);

/**
 * What is wrong with @p signature as one of the file @p path by one of @p keys; empty when nothing
 * is.
 *
 * Only then its trusted comment may be believed. Keeps the caller waiting for as long as reading
 * the file and hashing it takes; one that is not legacy is interrupted by @p progress.
 */
QString verify(const QString& path, const Signature& signature, const std::vector<PublicKey>& keys,
               const Progress& progress = {});

/** The BLAKE2b-512 hash of all that @p device has left to read, 64 bytes; nothing when reading
 * fails or is interrupted. */
std::optional<QByteArray> hashOf(QIODevice& device, const Progress& progress = {});

/** The value of "name:value" among the tab-separated fields of a trusted comment, if there is one.
 */
std::optional<QString> commentField(const QByteArray& trustedComment, const QString& name);

} // namespace zk::Minisign

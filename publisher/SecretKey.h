#pragma once

#include "publisher/SecretBytes.h"

#include <QByteArray>
#include <QString>

#include <variant>

namespace publisher {

/**
 * A key that signs packages, in the file format of the minisign program.
 *
 * Its bytes are wiped when it is destroyed, and so are all copies that its functions make. The
 * caller wipes what it passes and what encode() returns.
 */
class SecretKey
{
public:
    /** A new key from the system's random numbers. */
    static SecretKey generate();
    /** The key derived from @p seed, 32 random bytes. */
    explicit SecretKey(const QByteArray& seed);
    SecretKey(SecretKey&& other) noexcept = default;
    SecretKey& operator=(SecretKey&&) = delete;
    SecretKey(const SecretKey&) = delete;
    SecretKey& operator=(const SecretKey&) = delete;
    ~SecretKey() = default;

    /** Whether the text of a key file is encrypted. */
    static bool isEncrypted(const QByteArray& file);
    /** The key in the text of a key file, or the error; trying a password takes a second. */
    static std::variant<SecretKey, QString> decode(const QByteArray& file,
                                                   const QByteArray& password);

    /** The text of a key file; encrypted unless @p password is empty. */
    [[nodiscard]] QByteArray encode(const QByteArray& password) const;
    /** The line that hosts are given. */
    [[nodiscard]] QByteArray publicKey() const;
    /** The text of the public key's file. */
    [[nodiscard]] QByteArray publicKeyFile() const;

    /**
     * The text of a signature file for what has the BLAKE2b-512 hash @p digest, 64 bytes. The
     * comment is signed too.
     */
    [[nodiscard]] QByteArray sign(const QByteArray& digest, const QByteArray& trustedComment) const;

private:
    QByteArray m_id;
    SecretBytes m_secret; //!< the seed, followed by the public key

    SecretKey(const QByteArray& id, SecretBytes secret);
    [[nodiscard]] QByteArray signature(const QByteArray& bytes) const;
};

} // namespace publisher

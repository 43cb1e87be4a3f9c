#pragma once

#include <QByteArray>
#include <QString>

#include <variant>

namespace publisher {

/**
 * A key that signs packages, in the file format of the minisign program.
 *
 * Its bytes are wiped when it goes.
 */
class SecretKey
{
public:
    /** A new one from the system's randomness. */
    static SecretKey generate();
    /** The one that grows from @p seed, 32 bytes that nobody may guess. */
    explicit SecretKey(const QByteArray& seed);
    SecretKey(SecretKey&& other) noexcept = default;
    SecretKey& operator=(SecretKey&&) = delete;
    SecretKey(const SecretKey&) = delete;
    SecretKey& operator=(const SecretKey&) = delete;
    ~SecretKey();

    /** Whether the text of a key file is encrypted. */
    static bool isEncrypted(const QByteArray& file);
    /** The key in the text of a key file, or what is wrong; a password takes a second to try. */
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
    QByteArray m_secret; //!< the seed and behind it the public key

    SecretKey(const QByteArray& id, const QByteArray& secret);
    [[nodiscard]] QByteArray signature(const QByteArray& bytes) const;
};

} // namespace publisher

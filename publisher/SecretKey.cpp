#include "publisher/SecretKey.h"

#include <QtEndian>

#include <sodium.h>

#include <algorithm>
#include <cstring>
#include <optional>
#include <utility>

namespace publisher {

namespace {

constexpr int idSize = 8;
constexpr int secretSize = crypto_sign_SECRETKEYBYTES;
constexpr int checksumSize = 32;
constexpr int saltSize = crypto_pwhash_scryptsalsa208sha256_SALTBYTES;
constexpr int headerSize = 6; // the ids of three algorithms
constexpr int sealedSize = idSize + secretSize + checksumSize;
constexpr int fileSize = headerSize + saltSize + 2 * int(sizeof(quint64)) + sealedSize;

// The parameters of the minisign program: about a second and a gigabyte of memory.
constexpr quint64 operations = crypto_pwhash_scryptsalsa208sha256_OPSLIMIT_SENSITIVE;
constexpr quint64 memory = crypto_pwhash_scryptsalsa208sha256_MEMLIMIT_SENSITIVE;
constexpr quint64 maximumMemory = 2 * memory;

const unsigned char* raw(const QByteArray& bytes)
{
    return reinterpret_cast<const unsigned char*>(bytes.constData());
}

unsigned char* raw(QByteArray& bytes)
{
    return reinterpret_cast<unsigned char*>(bytes.data());
}

QByteArray hash(const QByteArray& bytes, int size)
{
    QByteArray result(size, Qt::Uninitialized);
    crypto_generichash(raw(result), std::size_t(size), raw(bytes), quint64(bytes.size()), nullptr,
                       0);
    return result;
}

QByteArray number(quint64 value)
{
    QByteArray bytes(int(sizeof value), Qt::Uninitialized);
    qToLittleEndian(value, bytes.data());
    return bytes;
}

/**
 * Encrypts @p bytes in place with @p password, or decrypts what this has encrypted; false without
 * the memory.
 */
bool cipher(unsigned char* bytes, int size, const QByteArray& password, const QByteArray& salt,
            quint64 opslimit, quint64 memlimit)
{
    SecretBytes stream(size);
    if (memlimit > maximumMemory ||
        crypto_pwhash_scryptsalsa208sha256(stream.data(), quint64(size), password.constData(),
                                           quint64(password.size()), raw(salt), opslimit,
                                           std::size_t(memlimit)) != 0) {
        return false;
    }
    for (int i = 0; i < size; ++i) {
        bytes[i] ^= stream.data()[i];
    }
    return true;
}

/** The checksum of an id and a secret, one after the other at @p key. */
QByteArray checksum(const unsigned char* key)
{
    constexpr char algorithm[] = {'E', 'd'};
    QByteArray result(checksumSize, Qt::Uninitialized);
    crypto_generichash_state state;
    crypto_generichash_init(&state, nullptr, 0, checksumSize);
    crypto_generichash_update(&state, reinterpret_cast<const unsigned char*>(algorithm),
                              sizeof algorithm);
    crypto_generichash_update(&state, key, idSize + secretSize);
    crypto_generichash_final(&state, raw(result), checksumSize);
    return result;
}

/** The bytes that the second line of a key file encodes; nothing if it is not one. */
std::optional<SecretBytes> fileBytes(const QByteArray& file)
{
    const auto isText = [](char c) { return c > ' '; };
    const int comment = int(std::find_if(file.begin(), file.end(), isText) - file.begin());
    const int first = file.indexOf('\n', comment) + 1;
    const int end = file.indexOf('\n', first);
    const bool isOneLine = end < 0 || file.mid(end).trimmed().isEmpty();
    QByteArray bytes = QByteArray::fromBase64(
        QByteArray::fromRawData(file.constData() + first, (end < 0 ? file.size() : end) - first));
    const Wiper wiper(bytes);
    const bool isKey = first > 0 && isOneLine && bytes.size() == fileSize &&
                       bytes.startsWith("Ed") && bytes.mid(4, 2) == "B2";
    return isKey ? std::make_optional<SecretBytes>(bytes) : std::nullopt;
}

bool isEncrypted(const SecretBytes& bytes)
{
    return bytes.view(2, 2) == "Sc";
}

QString idText(const QByteArray& id)
{
    return QString::number(qFromLittleEndian<quint64>(id.constData()), 16).toUpper();
}

} // namespace

SecretKey SecretKey::generate()
{
    if (sodium_init() < 0) {
        qFatal("no randomness");
    }
    SecretBytes seed(crypto_sign_SEEDBYTES);
    randombytes_buf(seed.data(), std::size_t(seed.size()));
    return SecretKey(seed.view(0, seed.size()));
}

SecretKey::SecretKey(const QByteArray& seed)
    : m_secret(secretSize)
{
    QByteArray publicPart(crypto_sign_PUBLICKEYBYTES, Qt::Uninitialized);
    crypto_sign_seed_keypair(raw(publicPart), m_secret.data(), raw(seed));
    m_id = hash(publicPart, crypto_generichash_BYTES_MIN).left(idSize);
}

SecretKey::SecretKey(const QByteArray& id, SecretBytes secret)
    : m_id(id)
    , m_secret(std::move(secret))
{
}

bool SecretKey::isEncrypted(const QByteArray& file)
{
    const auto bytes = fileBytes(file);
    return bytes && publisher::isEncrypted(*bytes);
}

std::variant<SecretKey, QString> SecretKey::decode(const QByteArray& file,
                                                   const QByteArray& password)
{
    auto bytes = fileBytes(file);
    if (!bytes) {
        return QStringLiteral("this is not a secret key");
    }
    unsigned char* const key = bytes->data() + fileSize - sealedSize;
    if (publisher::isEncrypted(*bytes)) {
        const unsigned char* const limits = bytes->data() + headerSize + saltSize;
        if (!cipher(key, sealedSize, password, bytes->view(headerSize, saltSize),
                    qFromLittleEndian<quint64>(limits), qFromLittleEndian<quint64>(limits + 8))) {
            return QStringLiteral("there is not enough memory to open it with a password");
        }
        if (checksum(key) != bytes->view(fileSize - checksumSize, checksumSize)) {
            return QStringLiteral("the password is wrong");
        }
    }
    const int secretAt = fileSize - sealedSize + idSize;
    // A copy: the view ends with the bytes.
    const QByteArray id(bytes->view(secretAt - idSize, idSize).constData(), idSize);
    SecretKey result(id, SecretBytes(bytes->view(secretAt, secretSize)));
    // Without a password there is no checksum, but the public half must match the other.
    const SecretKey expected(bytes->view(secretAt, crypto_sign_SEEDBYTES));
    if (sodium_memcmp(expected.m_secret.data(), result.m_secret.data(), secretSize) != 0) {
        return QStringLiteral("it is damaged");
    }
    return result;
}

QByteArray SecretKey::encode(const QByteArray& password) const
{
    SecretBytes key(sealedSize);
    std::memset(key.data(), 0, sealedSize);
    std::memcpy(key.data(), m_id.constData(), idSize);
    std::memcpy(key.data() + idSize, m_secret.data(), secretSize);
    QByteArray header =
        "Ed" + QByteArray(2, '\0') + "B2" + QByteArray(saltSize, '\0') + number(0) + number(0);
    if (!password.isEmpty()) {
        QByteArray salt(saltSize, '\0');
        randombytes_buf(salt.data(), std::size_t(salt.size()));
        std::memcpy(key.data() + idSize + secretSize, checksum(key.data()).constData(),
                    checksumSize);
        if (!cipher(key.data(), sealedSize, password, salt, operations, memory)) {
            return QByteArray();
        }
        header = "EdScB2" + salt + number(operations) + number(memory);
    }
    QByteArray bytes = header + key.view(0, sealedSize);
    const Wiper bytesWiper(bytes);
    QByteArray base64 = bytes.toBase64();
    const Wiper base64Wiper(base64);
    return (password.isEmpty() ? "untrusted comment: minisign secret key\n"
                               : "untrusted comment: minisign encrypted secret key\n") +
           base64 + '\n';
}

QByteArray SecretKey::publicKey() const
{
    return ("Ed" + m_id + m_secret.view(crypto_sign_SEEDBYTES, crypto_sign_PUBLICKEYBYTES))
        .toBase64();
}

QByteArray SecretKey::publicKeyFile() const
{
    return "untrusted comment: minisign public key " + idText(m_id).toLatin1() + '\n' +
           publicKey() + '\n';
}

QByteArray SecretKey::sign(const QByteArray& digest, const QByteArray& trustedComment) const
{
    const QByteArray first = signature(digest);
    return "untrusted comment: signature from softwareupdate-publish\n" +
           ("ED" + m_id + first).toBase64() + "\ntrusted comment: " + trustedComment + '\n' +
           signature(first + trustedComment).toBase64() + '\n';
}

QByteArray SecretKey::signature(const QByteArray& bytes) const
{
    QByteArray result(crypto_sign_BYTES, Qt::Uninitialized);
    crypto_sign_detached(raw(result), nullptr, raw(bytes), quint64(bytes.size()), m_secret.data());
    return result;
}

} // namespace publisher

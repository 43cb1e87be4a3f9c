#include "publisher/SecretKey.h"

#include <QList>
#include <QtEndian>

#include <sodium.h>

#include <optional>

namespace publisher {

namespace {

constexpr int idSize = 8;
constexpr int secretSize = crypto_sign_SECRETKEYBYTES;
constexpr int checksumSize = 32;
constexpr int saltSize = crypto_pwhash_scryptsalsa208sha256_SALTBYTES;
constexpr int headerSize = 6; // the letters of three algorithms
constexpr int sealedSize = idSize + secretSize + checksumSize;
constexpr int fileSize = headerSize + saltSize + 2 * int(sizeof(quint64)) + sealedSize;

// What the minisign program takes for a second of work and a gigabyte of memory.
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

/** What the password makes of @p bytes, and of the outcome again; nothing without the memory. */
std::optional<QByteArray> sealed(QByteArray bytes, const QByteArray& password,
                                 const QByteArray& salt, quint64 opslimit, quint64 memlimit)
{
    QByteArray stream(bytes.size(), Qt::Uninitialized);
    if (memlimit > maximumMemory ||
        crypto_pwhash_scryptsalsa208sha256(raw(stream), quint64(stream.size()),
                                           password.constData(), quint64(password.size()),
                                           raw(salt), opslimit, std::size_t(memlimit)) != 0) {
        return std::nullopt;
    }
    for (int i = 0; i < bytes.size(); ++i) {
        bytes[i] = char(bytes.at(i) ^ stream.at(i));
    }
    return bytes;
}

QByteArray fileBytes(const QByteArray& file)
{
    const QList<QByteArray> lines = file.trimmed().split('\n');
    const QByteArray bytes = QByteArray::fromBase64(lines.last().trimmed());
    const bool isKey = lines.size() == 2 && bytes.size() == fileSize && bytes.startsWith("Ed") &&
                       bytes.mid(4, 2) == "B2";
    return isKey ? bytes : QByteArray();
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
    QByteArray seed(crypto_sign_SEEDBYTES, Qt::Uninitialized);
    randombytes_buf(seed.data(), std::size_t(seed.size()));
    return SecretKey(seed);
}

SecretKey::SecretKey(const QByteArray& seed)
    : m_secret(secretSize, Qt::Uninitialized)
{
    QByteArray publicPart(crypto_sign_PUBLICKEYBYTES, Qt::Uninitialized);
    crypto_sign_seed_keypair(raw(publicPart), raw(m_secret), raw(seed));
    m_id = hash(publicPart, crypto_generichash_BYTES_MIN).left(idSize);
}

SecretKey::SecretKey(const QByteArray& id, const QByteArray& secret)
    : m_id(id)
    , m_secret(secret)
{
}

SecretKey::~SecretKey()
{
    if (!m_secret.isEmpty()) {
        sodium_memzero(m_secret.data(), std::size_t(m_secret.size()));
    }
}

bool SecretKey::isEncrypted(const QByteArray& file)
{
    return fileBytes(file).mid(2, 2) == "Sc";
}

std::variant<SecretKey, QString> SecretKey::decode(const QByteArray& file,
                                                   const QByteArray& password)
{
    const QByteArray bytes = fileBytes(file);
    if (bytes.isEmpty() || sodium_init() < 0) {
        return QStringLiteral("this is no secret key");
    }
    QByteArray content = bytes.right(sealedSize);
    if (isEncrypted(file)) {
        const int limits = headerSize + saltSize;
        const auto opened = sealed(content, password, bytes.mid(headerSize, saltSize),
                                   qFromLittleEndian<quint64>(bytes.constData() + limits),
                                   qFromLittleEndian<quint64>(bytes.constData() + limits + 8));
        if (!opened) {
            return QStringLiteral("there is not enough memory to open it with a password");
        }
        content = *opened;
    }
    const QByteArray key = content.left(idSize + secretSize);
    if (isEncrypted(file) && hash("Ed" + key, checksumSize) != content.right(checksumSize)) {
        return QStringLiteral("the password is wrong");
    }
    SecretKey result(key.left(idSize), key.mid(idSize));
    // Without a password there is no checksum, but the public half can be told from the other.
    if (SecretKey(result.m_secret.left(crypto_sign_SEEDBYTES)).m_secret != result.m_secret) {
        return QStringLiteral("it is damaged");
    }
    return result;
}

QByteArray SecretKey::encode(const QByteArray& password) const
{
    const QByteArray key = m_id + m_secret;
    QByteArray salt(saltSize, '\0');
    if (password.isEmpty()) {
        return "untrusted comment: minisign secret key\n" +
               ("Ed" + QByteArray(2, '\0') + "B2" + salt + number(0) + number(0) + key +
                QByteArray(checksumSize, '\0'))
                   .toBase64() +
               '\n';
    }
    randombytes_buf(salt.data(), std::size_t(salt.size()));
    const auto closed =
        sealed(key + hash("Ed" + key, checksumSize), password, salt, operations, memory);
    if (!closed) {
        return QByteArray();
    }
    return "untrusted comment: minisign encrypted secret key\n" +
           ("EdScB2" + salt + number(operations) + number(memory) + *closed).toBase64() + '\n';
}

QByteArray SecretKey::publicKey() const
{
    return ("Ed" + m_id + m_secret.right(crypto_sign_PUBLICKEYBYTES)).toBase64();
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
    crypto_sign_detached(raw(result), nullptr, raw(bytes), quint64(bytes.size()), raw(m_secret));
    return result;
}

} // namespace publisher

#include "support/Minisign.h"

#include <QFile>

#include <sodium.h>

#include <algorithm>
#include <cstring>

namespace zk::Minisign {

namespace {

constexpr int letters = 2;

/** Decodes a base64 line; nothing unless it has exactly @p size bytes. */
std::optional<QByteArray> decoded(const QByteArray& line, int size)
{
    const auto result =
        QByteArray::fromBase64Encoding(line, QByteArray::AbortOnBase64DecodingErrors);
    return result && result.decoded.size() == size ? std::optional(result.decoded) : std::nullopt;
}

template <std::size_t Size>
void take(const QByteArray& bytes, int from, std::array<unsigned char, Size>& target)
{
    std::memcpy(target.data(), bytes.constData() + from, Size);
}

const unsigned char* bytesOf(const QByteArray& bytes)
{
    return reinterpret_cast<const unsigned char*>(bytes.constData());
}

bool isSignedBy(const PublicKey& key, const std::array<unsigned char, 64>& signature,
                const unsigned char* bytes, qint64 size)
{
    return crypto_sign_verify_detached(signature.data(), bytes,
                                       static_cast<unsigned long long>(size), key.key.data()) == 0;
}

} // namespace

struct Hash::State
{
    crypto_generichash_state state;
};

Hash::Hash()
    : m_state(std::make_unique<State>())
{
    crypto_generichash_init(&m_state->state, nullptr, 0, crypto_generichash_BYTES_MAX);
}

Hash::~Hash() = default;

void Hash::add(const char* data, qint64 size)
{
    crypto_generichash_update(&m_state->state, reinterpret_cast<const unsigned char*>(data),
                              static_cast<unsigned long long>(size));
}

QByteArray Hash::result()
{
    QByteArray hash(crypto_generichash_BYTES_MAX, Qt::Uninitialized);
    crypto_generichash_final(&m_state->state, reinterpret_cast<unsigned char*>(hash.data()),
                             crypto_generichash_BYTES_MAX);
    return hash;
}

std::optional<QByteArray> hashOf(QIODevice& device, const Progress& progress)
{
    constexpr qint64 pieceSize = 1024LL * 1024;
    QByteArray piece(int(pieceSize), Qt::Uninitialized);
    Hash hash;
    qint64 size = 0;
    qint64 done = 0;
    while ((size = device.read(piece.data(), pieceSize)) > 0) {
        hash.add(piece.constData(), size);
        done += size;
        if (progress && !progress(done)) {
            return std::nullopt;
        }
    }
    return size == 0 ? std::optional(hash.result()) : std::nullopt;
}

std::optional<PublicKey> parsePublicKey(const QString& text)
{
    const QStringList lines = text.trimmed().split(QLatin1Char('\n'));
    PublicKey key;
    constexpr int size = letters + int(sizeof(key.id) + sizeof(key.key));
    const auto bytes = decoded(lines.last().trimmed().toLatin1(), size);
    if (!bytes || !bytes->startsWith("Ed")) {
        return std::nullopt;
    }
    take(*bytes, letters, key.id);
    take(*bytes, letters + int(key.id.size()), key.key);
    return key;
}

std::variant<Signature, QString> parseSignature(const QByteArray& text)
{
    constexpr char trusted[] = "trusted comment: ";
    QList<QByteArray> lines = text.split('\n');
    while (!lines.isEmpty() && lines.last().trimmed().isEmpty()) {
        lines.removeLast();
    }
    for (QByteArray& line : lines) {
        line.chop(line.endsWith('\r') ? 1 : 0);
    }
    if (text.size() > maximumSignatureSize || lines.size() != 4 ||
        !lines.at(0).startsWith("untrusted comment: ") || !lines.at(2).startsWith(trusted)) {
        return QStringLiteral("it is not a signature file");
    }
    Signature signature;
    constexpr int size = letters + int(sizeof(signature.id) + sizeof(signature.signature));
    const auto bytes = decoded(lines.at(1), size);
    const auto global = decoded(lines.at(3), int(sizeof(signature.globalSignature)));
    if (!bytes || !global || !(bytes->startsWith("ED") || bytes->startsWith("Ed"))) {
        return QStringLiteral("its signatures cannot be decoded");
    }
    signature.algorithm = bytes->startsWith("ED") ? Signature::ePrehashed : Signature::eLegacy;
    take(*bytes, letters, signature.id);
    take(*bytes, letters + int(signature.id.size()), signature.signature);
    take(*global, 0, signature.globalSignature);
    signature.trustedComment = lines.at(2).mid(int(sizeof(trusted)) - 1);
    return signature;
}

std::variant<PublicKey, QString> signerOf(const Signature& signature,
                                          const std::vector<PublicKey>& keys)
{
    if (sodium_init() < 0) {
        return QStringLiteral("cryptography is not available");
    }
    const auto key = std::find_if(keys.begin(), keys.end(), [&signature](const PublicKey& known) {
        return known.id == signature.id;
    });
    if (key == keys.end()) {
        return QStringLiteral("it was made with an unknown key");
    }
    const QByteArray comment = QByteArray(reinterpret_cast<const char*>(signature.signature.data()),
                                          int(signature.signature.size())) +
                               signature.trustedComment;
    if (!isSignedBy(*key, signature.globalSignature, bytesOf(comment), comment.size())) {
        return QStringLiteral("its trusted comment is not signed by the key");
    }
    return *key;
}

bool isSignedHash(const PublicKey& key, const Signature& signature, const QByteArray& hash)
{
    return isSignedBy(key, signature.signature, bytesOf(hash), hash.size());
}

QString legacyComplaint(const PublicKey& key, const Signature& signature, const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        return QStringLiteral("the file cannot be read: ") + file.errorString();
    }
    if (file.size() > maximumLegacyFileSize) {
        return QStringLiteral("the file is too large for a signature that is not prehashed");
    }
    // Nothing is mapped of an empty file, which can be signed, too.
    const unsigned char* const bytes = file.size() > 0 ? file.map(0, file.size()) : nullptr;
    if (!bytes && file.size() > 0) {
        return QStringLiteral("the file cannot be read: ") + file.errorString();
    }
    return isSignedBy(key, signature.signature, bytes, file.size())
               ? QString()
               : QStringLiteral("the file is not the one that was signed");
}

std::optional<QString> commentField(const QByteArray& trustedComment, const QString& name)
{
    const QStringList fields = QString::fromUtf8(trustedComment).split(QLatin1Char('\t'));
    for (const QString& field : fields) {
        if (field.startsWith(name + QLatin1Char(':'))) {
            return field.mid(name.size() + 1);
        }
    }
    return std::nullopt;
}

} // namespace zk::Minisign

#include "download/PackageSignature.h"

#include "download/FileHash.h"
#include "support/VersionNumber.h"

#include <QFile>

#include <utility>

namespace zk {

bool isSameRelease(const QString& signedRelease, const QString& release)
{
    const VersionNumber signedVersion(signedRelease.toStdWString());
    return signedRelease == release || (signedVersion != VersionNumber() &&
                                        signedVersion == VersionNumber(release.toStdWString()));
}

std::vector<trust::PublicKey> publicKeysIn(const QStringList& lines)
{
    std::vector<trust::PublicKey> keys;
    for (const QString& line : lines) {
        if (const auto key = trust::parsePublicKey(line.toStdString())) {
            keys.push_back(*key);
        }
    }
    return keys;
}

QUrl besideUrl(const QUrl& url, const QString& suffix)
{
    QUrl result = url;
    result.setPath(url.path(QUrl::FullyEncoded) + suffix, QUrl::TolerantMode);
    return result;
}

QUrl signatureUrl(const QUrl& url)
{
    return besideUrl(url, QStringLiteral(".minisig"));
}

PackageSignature::PackageSignature(trust::Signature signature, const trust::PublicKey& key)
    : m_signature(std::move(signature))
    , m_key(key)
{
}

std::variant<PackageSignature, QString> PackageSignature::accept(const QByteArray& text,
                                                                 const SignedPackage& package,
                                                                 const QStringList& publicKeys)
{
    const auto parsed = trust::parseSignature(viewOf(text));
    if (const auto* const error = std::get_if<std::string>(&parsed)) {
        return QString::fromStdString(*error);
    }
    const auto& signature = std::get<trust::Signature>(parsed);
    const auto signer = trust::signerOf(signature, publicKeysIn(publicKeys));
    if (const auto* const error = std::get_if<std::string>(&signer)) {
        return QString::fromStdString(*error);
    }
    const auto field = [&signature](const char* name) {
        const auto value = trust::commentField(signature.trustedComment, name);
        return value ? std::optional(QString::fromStdString(*value)) : std::nullopt;
    };
    const auto name = field("file");
    if (!name || name->isEmpty() || *name != package.file) {
        return QStringLiteral("it was made for the file '%1'").arg(name.value_or(QString()));
    }
    const auto release = field("release");
    if (release && !isSameRelease(*release, package.release)) {
        return QStringLiteral("it was made for release '%1'").arg(*release);
    }
    return PackageSignature(signature, std::get<trust::PublicKey>(signer));
}

bool PackageSignature::isLegacy() const
{
    return m_signature.algorithm == trust::Signature::eLegacy;
}

QString PackageSignature::complaintAbout(std::string_view bytes) const
{
    return trust::isSigned(m_key, m_signature, bytes)
               ? QString()
               : QStringLiteral("the file is not the one that was signed");
}

QString PackageSignature::complaintAboutHash(const QByteArray& hash) const
{
    return complaintAbout(viewOf(hash));
}

QString PackageSignature::complaintAboutFile(const QString& path) const
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
    return complaintAbout({reinterpret_cast<const char*>(bytes), std::size_t(file.size())});
}

} // namespace zk

#include "download/PackageSignature.h"

#include "support/VersionNumber.h"

#include <utility>

namespace zk {

namespace {

bool isSameRelease(const QString& signedRelease, const QString& release)
{
    const VersionNumber signedVersion(signedRelease.toStdWString());
    return signedRelease == release || (signedVersion != VersionNumber() &&
                                        signedVersion == VersionNumber(release.toStdWString()));
}

} // namespace

QUrl signatureUrl(const QUrl& url)
{
    QUrl result = url;
    result.setPath(url.path(QUrl::FullyEncoded) + QLatin1String(".minisig"), QUrl::TolerantMode);
    return result;
}

PackageSignature::PackageSignature(Minisign::Signature signature, const Minisign::PublicKey& key)
    : m_signature(std::move(signature))
    , m_key(key)
{
}

std::variant<PackageSignature, QString> PackageSignature::accept(const QByteArray& text,
                                                                 const SignedPackage& package,
                                                                 const QStringList& publicKeys)
{
    std::vector<Minisign::PublicKey> keys;
    for (const QString& line : publicKeys) {
        if (const auto key = Minisign::parsePublicKey(line)) {
            keys.push_back(*key);
        }
    }
    const auto parsed = Minisign::parseSignature(text);
    if (const auto* const error = std::get_if<QString>(&parsed)) {
        return *error;
    }
    const auto& signature = std::get<Minisign::Signature>(parsed);
    const auto signer = Minisign::signerOf(signature, keys);
    if (const auto* const error = std::get_if<QString>(&signer)) {
        return *error;
    }
    const auto name = Minisign::commentField(signature.trustedComment, QStringLiteral("file"));
    if (!name || name->isEmpty() || *name != package.file) {
        return QStringLiteral("it was made for the file '%1'").arg(name.value_or(QString()));
    }
    const auto release =
        Minisign::commentField(signature.trustedComment, QStringLiteral("release"));
    if (release && !isSameRelease(*release, package.release)) {
        return QStringLiteral("it was made for release '%1'").arg(*release);
    }
    return PackageSignature(signature, std::get<Minisign::PublicKey>(signer));
}

bool PackageSignature::isLegacy() const
{
    return m_signature.algorithm == Minisign::Signature::eLegacy;
}

QString PackageSignature::complaintAboutHash(const QByteArray& hash) const
{
    return Minisign::isSignedHash(m_key, m_signature, hash)
               ? QString()
               : QStringLiteral("the file is not the one that was signed");
}

QString PackageSignature::complaintAboutFile(const QString& path) const
{
    return Minisign::legacyComplaint(m_key, m_signature, path);
}

} // namespace zk

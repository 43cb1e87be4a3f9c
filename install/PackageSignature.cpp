#include "install/PackageSignature.h"

#include "support/VersionNumber.h"

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

QString signatureComplaint(const QString& file, const PackageInfo& package,
                           const QByteArray& signature, const QStringList& publicKeys,
                           const Minisign::Progress& progress)
{
    std::vector<Minisign::PublicKey> keys;
    for (const QString& text : publicKeys) {
        if (const auto key = Minisign::parsePublicKey(text)) {
            keys.push_back(*key);
        }
    }
    const auto parsed = Minisign::parseSignature(signature);
    if (const auto* const error = std::get_if<QString>(&parsed)) {
        return *error;
    }
    const auto& valid = std::get<Minisign::Signature>(parsed);
    QString error = Minisign::verify(file, valid, keys, progress);
    if (!error.isEmpty()) {
        return error;
    }
    const auto name = Minisign::commentField(valid.trustedComment, QStringLiteral("file"));
    if (!name || name->isEmpty() || *name != package.url.fileName()) {
        return QStringLiteral("it was made for the file '%1'").arg(name.value_or(QString()));
    }
    const auto release = Minisign::commentField(valid.trustedComment, QStringLiteral("release"));
    if (release && !isSameRelease(*release, package.release)) {
        return QStringLiteral("it was made for release '%1'").arg(*release);
    }
    return QString();
}

} // namespace zk

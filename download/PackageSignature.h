#pragma once

#include "support/Minisign.h"

#include <QStringList>
#include <QUrl>

#include <variant>

namespace zk {

/** Where the signature of the package at @p url is published. */
QUrl signatureUrl(const QUrl& url);

/** What the trusted comment of a signature must name. */
struct SignedPackage
{
    /** The last part of its address. */
    QString file;
    /** As the update document has it. */
    QString release;
};

/**
 * The signature of a package, trusted as far as that is possible without the package itself.
 *
 * Its trusted comment must name the file, and may name the release: an old package cannot be
 * published again under a new name.
 */
class PackageSignature final
{
public:
    /**
     * Takes the text of a signature file for that of @p package, given the public keys that the
     * host trusts; otherwise the reason against it.
     */
    static std::variant<PackageSignature, QString>
    accept(const QByteArray& text, const SignedPackage& package, const QStringList& publicKeys);

    /** The file itself is signed, rather than its hash. */
    [[nodiscard]] bool isLegacy() const;
    /** @{ Why the package with this BLAKE2b-512 hash, or this file, is not the signed one; empty if
     * it is. A file is for a legacy signature: callable from any thread, blocks. */
    [[nodiscard]] QString complaintAboutHash(const QByteArray& hash) const;
    [[nodiscard]] QString complaintAboutFile(const QString& path) const;
    /** @} */

private:
    PackageSignature(Minisign::Signature signature, const Minisign::PublicKey& key);

    Minisign::Signature m_signature;
    Minisign::PublicKey m_key;
};

} // namespace zk

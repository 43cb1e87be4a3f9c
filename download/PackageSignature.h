#pragma once

#include "trust/Minisign.h"

#include <QStringList>
#include <QUrl>

#include <variant>
#include <vector>

namespace zk {

/** The address of the file that is published beside @p url, with @p suffix after its name. */
QUrl besideUrl(const QUrl& url, const QString& suffix);
/** Where the signature of the package at @p url is published. */
QUrl signatureUrl(const QUrl& url);

/** The keys among @p lines, as minisign prints them; others are left out. */
std::vector<trust::PublicKey> publicKeysIn(const QStringList& lines);

/** Whether a release that is signed is the one in a document: "4.3" and "4.3.0" are. */
bool isSameRelease(const QString& signedRelease, const QString& release);

/** The largest file with a legacy signature: it is checked in one step, which cannot be
 * interrupted. */
constexpr qint64 maximumLegacyFileSize = 512LL * 1024 * 1024;

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
     * it is. A file is for a legacy signature: it is mapped as a whole, which blocks and cannot be
     * cancelled; callable from any thread. */
    [[nodiscard]] QString complaintAboutHash(const QByteArray& hash) const;
    [[nodiscard]] QString complaintAboutFile(const QString& path) const;
    /** @} */

private:
    PackageSignature(trust::Signature signature, const trust::PublicKey& key);

    [[nodiscard]] QString complaintAbout(std::string_view bytes) const;

    trust::Signature m_signature;
    trust::PublicKey m_key;
};

} // namespace zk

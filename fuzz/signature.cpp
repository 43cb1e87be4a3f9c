// Signature files and public keys. Random input is never signed: whatever is parsed must not be
// accepted.

#include "support/Minisign.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const QByteArray bytes(reinterpret_cast<const char*>(data), int(size));
    (void)zk::Minisign::parsePublicKey(QString::fromUtf8(bytes));
    const auto parsed = zk::Minisign::parseSignature(bytes);
    if (const auto* const signature = std::get_if<zk::Minisign::Signature>(&parsed)) {
        (void)zk::Minisign::commentField(signature->trustedComment, QStringLiteral("file"));
        zk::Minisign::PublicKey known{};
        known.id = signature->id;
        const auto signer = zk::Minisign::signerOf(*signature, {known});
        if (std::holds_alternative<zk::Minisign::PublicKey>(signer) ||
            zk::Minisign::isSignedHash(known, *signature, bytes)) {
            std::abort();
        }
    }
    return 0;
}

// Signature files and public keys. Random input is never signed: whatever is parsed must not be
// accepted.

#include "trust/Minisign.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    (void)trust::parsePublicKey(text);
    const auto parsed = trust::parseSignature(text);
    if (const auto* const signature = std::get_if<trust::Signature>(&parsed)) {
        (void)trust::commentField(signature->trustedComment, "file");
        trust::PublicKey known{};
        known.id = signature->id;
        const auto signer = trust::signerOf(*signature, {known});
        if (std::holds_alternative<trust::PublicKey>(signer) ||
            trust::isSigned(known, *signature, text)) {
            std::abort();
        }
    }
    return 0;
}

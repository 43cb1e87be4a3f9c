#pragma once

#include <array>
#include <cstddef>
#include <memory>
#include <string_view>

struct crypto_generichash_blake2b_state;

namespace trust {

/** The BLAKE2b hash (RFC 7693) of @p Size bytes, 32 or 64, of data that arrives in pieces. */
template <std::size_t Size>
class Blake2b final
{
public:
    using Digest = std::array<unsigned char, Size>;

    Blake2b();
    ~Blake2b();
    Blake2b(const Blake2b&) = delete;
    Blake2b& operator=(const Blake2b&) = delete;

    void add(std::string_view data);
    /** Ends the hash. */
    [[nodiscard]] Digest result();

    [[nodiscard]] static Digest of(std::string_view data);

private:
    const std::unique_ptr<crypto_generichash_blake2b_state> m_state;
};

/** What a package manifest names files by. */
using Blake2b256 = Blake2b<32>;
/** What minisign signs. */
using Blake2b512 = Blake2b<64>;

} // namespace trust

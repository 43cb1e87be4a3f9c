#include "trust/Blake2b.h"

#include <sodium.h>

namespace trust {

template <std::size_t Size>
Blake2b<Size>::Blake2b()
    : m_state(std::make_unique<crypto_generichash_blake2b_state>())
{
    crypto_generichash_init(m_state.get(), nullptr, 0, Size);
}

template <std::size_t Size>
Blake2b<Size>::~Blake2b() = default;

template <std::size_t Size>
void Blake2b<Size>::add(std::string_view data)
{
    crypto_generichash_update(m_state.get(), reinterpret_cast<const unsigned char*>(data.data()),
                              data.size());
}

template <std::size_t Size>
typename Blake2b<Size>::Digest Blake2b<Size>::result()
{
    Digest digest;
    crypto_generichash_final(m_state.get(), digest.data(), digest.size());
    return digest;
}

template <std::size_t Size>
typename Blake2b<Size>::Digest Blake2b<Size>::of(std::string_view data)
{
    Blake2b hash;
    hash.add(data);
    return hash.result();
}

template class Blake2b<32>;
template class Blake2b<64>;

} // namespace trust

#include "publisher/SecretBytes.h"

#include <sodium.h>

#include <cstring>
#include <new>

namespace publisher {

void wipe(QByteArray& secret)
{
    // Not data(): it would make a copy of shared bytes, and wipe the copy.
    sodium_memzero(const_cast<char*>(secret.constData()), std::size_t(secret.size()));
    secret.clear();
}

SecretBytes::SecretBytes(int size)
    : m_data(sodium_init() < 0 ? nullptr
                               : static_cast<unsigned char*>(sodium_malloc(std::size_t(size))))
    , m_size(size)
{
    if (!m_data) {
        throw std::bad_alloc();
    }
}

SecretBytes::SecretBytes(const QByteArray& bytes)
    : SecretBytes(bytes.size())
{
    std::memcpy(m_data.get(), bytes.constData(), std::size_t(bytes.size()));
}

QByteArray SecretBytes::view(int first, int size) const
{
    return QByteArray::fromRawData(reinterpret_cast<const char*>(m_data.get()) + first, size);
}

void SecretBytes::Freer::operator()(unsigned char* data) const
{
    sodium_free(data); // wipes
}

} // namespace publisher

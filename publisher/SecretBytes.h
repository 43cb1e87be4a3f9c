#pragma once

#include <QByteArray>

#include <memory>

namespace publisher {

/**
 * Overwrites the bytes of @p secret, which must be on the heap, including those of copies that
 * share them.
 */
void wipe(QByteArray& secret);

/** Wipes a QByteArray at the end of a scope. */
class Wiper
{
public:
    explicit Wiper(QByteArray& secret)
        : m_secret(secret)
    {
    }
    ~Wiper() { wipe(m_secret); }
    Wiper(const Wiper&) = delete;
    Wiper& operator=(const Wiper&) = delete;

private:
    QByteArray& m_secret;
};

/** A fixed number of bytes that are neither copied nor swapped out, and wiped when they are freed.
 */
class SecretBytes
{
public:
    /** Not initialised. Throws std::bad_alloc without memory. */
    explicit SecretBytes(int size);
    /** A copy of @p bytes, which the caller wipes. */
    explicit SecretBytes(const QByteArray& bytes);

    [[nodiscard]] unsigned char* data() { return m_data.get(); }
    [[nodiscard]] const unsigned char* data() const { return m_data.get(); }
    [[nodiscard]] int size() const { return m_size; }
    /** The bytes from @p first on without a copy; valid as long as this. */
    [[nodiscard]] QByteArray view(int first, int size) const;

private:
    struct Freer
    {
        void operator()(unsigned char* data) const;
    };

    std::unique_ptr<unsigned char[], Freer> m_data;
    int m_size;
};

} // namespace publisher

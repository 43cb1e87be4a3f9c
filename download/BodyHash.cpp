#include "download/BodyHash.h"

#include "download/FileHash.h"

#include <cstring>
#include <system_error>

namespace zk {

namespace {

constexpr qint64 mostWaiting = 2LL * 1024 * 1024;

} // namespace

BodyHash::BodyHash()
{
    try {
        m_thread = std::async(std::launch::async, [this] { run(); });
    } catch (const std::system_error&) {
        // No thread can be had.
    }
}

BodyHash::~BodyHash()
{
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_pieces.clear();
    }
    end();
}

void BodyHash::add(const char* data, qint64 size)
{
    if (!m_thread.valid()) {
        m_hash.add({data, std::size_t(size)});
        return;
    }
    std::unique_lock<std::mutex> lock(m_mutex);
    m_changed.wait(lock, [this] { return m_waiting < mostWaiting; });
    QByteArray piece;
    if (!m_spare.empty()) {
        piece = std::move(m_spare.front());
        m_spare.pop_front();
    }
    lock.unlock();
    piece.resize(int(size));
    std::memcpy(piece.data(), data, std::size_t(size));
    lock.lock();
    m_pieces.push_back(std::move(piece));
    m_waiting += size;
    m_changed.notify_all();
}

void BodyHash::run()
{
    std::unique_lock<std::mutex> lock(m_mutex);
    for (;;) {
        m_changed.wait(lock, [this] { return m_isEnding || !m_pieces.empty(); });
        if (m_pieces.empty()) {
            return;
        }
        QByteArray piece = std::move(m_pieces.front());
        m_pieces.pop_front();
        lock.unlock();
        m_hash.add(viewOf(piece));
        lock.lock();
        m_waiting -= piece.size();
        m_spare.push_back(std::move(piece));
        m_changed.notify_all();
    }
}

void BodyHash::end()
{
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_isEnding = true;
        m_changed.notify_all();
    }
    if (m_thread.valid()) {
        m_thread.get();
    }
}

QByteArray BodyHash::result()
{
    end();
    return bytesOf(m_hash.result());
}

} // namespace zk

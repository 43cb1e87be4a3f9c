#pragma once

#include "trust/Blake2b.h"

#include <QByteArray>

#include <condition_variable>
#include <deque>
#include <future>
#include <mutex>

namespace zk {

/**
 * Hashes (BLAKE2b-512) a body while it arrives, on a thread of its own.
 *
 * The bytes are hashed as they were received: nobody has to read the file again. Used from one
 * thread at a time.
 */
class BodyHash final
{
public:
    BodyHash();
    ~BodyHash();
    Q_DISABLE_COPY(BodyHash)

    /** Adds a copy of @p data; waits, for milliseconds, when the thread is behind by some MiB. */
    void add(const char* data, qint64 size);
    /** The hash (64 bytes) of everything added; to be called once, at the end. */
    [[nodiscard]] QByteArray result();

private:
    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::deque<QByteArray> m_pieces;
    /** To be filled again: new ones would cost as much as the hash. */
    std::deque<QByteArray> m_spare;
    /** Bytes in m_pieces. */
    qint64 m_waiting = 0;
    bool m_isEnding = false;
    trust::Blake2b512 m_hash;
    // Last: the thread uses the others. Without one the caller does the work.
    std::future<void> m_thread;

    void run();
    void end();
};

} // namespace zk

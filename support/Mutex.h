#pragma once

#include <QMutex>

namespace zk {

/** A non-recursive mutex; lock it through a MutexLocker. */
class Mutex
{
public:
    /** Waits for whoever has it. */
    void lock() { m_mutex.lock(); }
    /** In the thread that has locked it. */
    void unlock() { m_mutex.unlock(); }

private:
    QMutex m_mutex;
};

/** Holds a Mutex for a scope. With @p lock false it does nothing, for callers that already hold it.
 */
class MutexLocker
{
public:
    /** Locks @p mutex, which must live longer, if @p lock says so. */
    MutexLocker(Mutex& mutex, bool lock)
        : m_mutex(lock ? &mutex : nullptr)
    {
        if (m_mutex) {
            m_mutex->lock();
        }
    }
    ~MutexLocker()
    {
        if (m_mutex) {
            m_mutex->unlock();
        }
    }
    MutexLocker(const MutexLocker&) = delete;
    MutexLocker& operator=(const MutexLocker&) = delete;

private:
    Mutex* m_mutex;
};

} // namespace zk

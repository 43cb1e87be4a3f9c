#pragma once

#include <QMutex>

namespace zk {

/** A non-recursive mutex; lock it through a MutexLocker. */
class Mutex
{
public:
    /** Blocks until the mutex is free. */
    void lock() { m_mutex.lock(); }
    /** Call it in the thread that locked it. */
    void unlock() { m_mutex.unlock(); }

private:
    QMutex m_mutex;
};

/**
 * Locks a Mutex for a scope. With @p lock false it does nothing, for callers that hold the lock
 * already.
 */
class MutexLocker
{
public:
    /** Locks @p mutex, which must outlive this object, if @p lock is true. */
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

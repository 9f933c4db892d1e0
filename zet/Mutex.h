#pragma once

#include "zet/ThreadSafety.h"

#include <mutex>

namespace zet {

/// Recursive lock. A copy is a separate lock; assigning changes nothing. Any thread.
class ZET_CAPABILITY("mutex") CMutex {
public:
    /// Not locked.
    CMutex() = default;
    CMutex(const CMutex&) : CMutex() {}
    CMutex& operator=(const CMutex&) noexcept { return *this; }

    /// Waits until no other thread has the lock, and takes it. A thread may take it several times.
    void lock() ZET_ACQUIRE() { m_mutex.lock(); }
    /// Undoes one lock(), on the same thread.
    void unlock() ZET_RELEASE() { m_mutex.unlock(); }

private:
    std::recursive_mutex m_mutex;
};

/// Takes a lock for a scope.
class [[nodiscard]] ZET_SCOPED_CAPABILITY CMutexLock {
public:
    /// Takes the lock, which must outlive this object.
    explicit CMutexLock(CMutex& mutex) ZET_ACQUIRE(mutex) : m_mutex(mutex) { m_mutex.lock(); }
    ~CMutexLock() ZET_RELEASE() { m_mutex.unlock(); }
    CMutexLock(const CMutexLock&) = delete;
    CMutexLock& operator=(const CMutexLock&) = delete;

private:
    CMutex& m_mutex;
};

}  // namespace zet

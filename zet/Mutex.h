#pragma once

#include <mutex>

namespace zet {

/// Recursive lock. Copying and assigning an object that holds one leaves each with its own lock.
class CMutex {
public:
    CMutex() = default;
    CMutex(const CMutex&) : CMutex() {}
    CMutex& operator=(const CMutex&) noexcept { return *this; }

    void lock() { m_mutex.lock(); }
    void unlock() { m_mutex.unlock(); }

private:
    std::recursive_mutex m_mutex;
};

/// Holds a lock for a scope.
class [[nodiscard]] CMutexLock {
public:
    explicit CMutexLock(CMutex& mutex) : m_mutex(mutex) { m_mutex.lock(); }
    ~CMutexLock() { m_mutex.unlock(); }
    CMutexLock(const CMutexLock&) = delete;
    CMutexLock& operator=(const CMutexLock&) = delete;

private:
    CMutex& m_mutex;
};

}  // namespace zet

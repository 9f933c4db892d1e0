#include "zet/Signal.h"

#include <chrono>

namespace zet {

class ZET_SCOPED_CAPABILITY CSignal::CStateLock {
public:
    explicit CStateLock(CStateMutex& mutex) ZET_ACQUIRE(mutex) : m_lock(mutex.mutex) {}
    ~CStateLock() ZET_RELEASE() {}
    CStateLock(const CStateLock&) = delete;
    CStateLock& operator=(const CStateLock&) = delete;

    std::unique_lock<std::mutex>& get() noexcept { return m_lock; }

private:
    std::unique_lock<std::mutex> m_lock;
};

CSignal::~CSignal() = default;

void CSignal::set() {
    // Notify while the lock is held: a waiter may destroy the signal as soon as it sees that it is set.
    const CStateLock lock(m_mutex);
    m_isSet = true;
    m_changed.notify_all();
}

void CSignal::reset() {
    const CStateLock lock(m_mutex);
    m_isSet = false;
}

bool CSignal::isSet() const {
    const CStateLock lock(m_mutex);
    return m_isSet;
}

bool CSignal::wait(int milliseconds) {
    CStateLock lock(m_mutex);
    const auto isSet = [this]() ZET_REQUIRES(m_mutex) { return m_isSet; };
    if (milliseconds < 0) {
        m_changed.wait(lock.get(), isSet);
        return true;
    }
    return m_changed.wait_for(lock.get(), std::chrono::milliseconds(milliseconds), isSet);
}

}  // namespace zet

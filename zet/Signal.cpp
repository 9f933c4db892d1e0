#include "zet/Signal.h"

#include <chrono>

namespace zet {

CSignal::~CSignal() = default;

void CSignal::set() {
    // Notify while the lock is held: a waiter may destroy the signal as soon as it sees that it is set.
    const std::lock_guard lock(m_mutex);
    m_isSet = true;
    m_changed.notify_all();
}

void CSignal::reset() {
    const std::lock_guard lock(m_mutex);
    m_isSet = false;
}

bool CSignal::isSet() const {
    const std::lock_guard lock(m_mutex);
    return m_isSet;
}

bool CSignal::wait(int milliseconds) {
    std::unique_lock lock(m_mutex);
    const auto isSet = [this] { return m_isSet; };
    if (milliseconds < 0) {
        m_changed.wait(lock, isSet);
        return true;
    }
    return m_changed.wait_for(lock, std::chrono::milliseconds(milliseconds), isSet);
}

}  // namespace zet

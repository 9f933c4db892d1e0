#pragma once

#include <condition_variable>
#include <mutex>

namespace vexil_test {

/// Opens for good when it has been counted down to 0. A std::latch for systems without a futex, such as
/// Windows: there that of GCC 12 reads the count before it takes the lock, and can miss the last countDown().
class Latch {
public:
    explicit Latch(int count) : m_count(count) {}

    void countDown() {
        const std::lock_guard lock(m_mutex);
        if (--m_count == 0) {
            // With the lock: a waiter may destroy the latch.
            m_isOpen.notify_all();
        }
    }
    void wait() {
        std::unique_lock lock(m_mutex);
        m_isOpen.wait(lock, [this] { return m_count <= 0; });
    }
    void arriveAndWait() {
        countDown();
        wait();
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_isOpen;
    int m_count;
};

}  // namespace vexil_test

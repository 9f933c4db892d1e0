#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <thread>

namespace vexil_test {

/// Ends the program with the name of a rule if a scope takes too long. For rules whose violation shows only
/// as a wait that never ends.
class Deadline {
public:
    /// \param rule   the tested rule, such as "set() wakes all who wait"
    /// \param limit  far above the time of the slowest machine, below the limit of a whole test program
    explicit Deadline(const char* rule, std::chrono::seconds limit = std::chrono::seconds(120))
        : m_thread([this, rule, limit] { watch(rule, limit); }) {}
    ~Deadline() {
        {
            const std::lock_guard lock(m_mutex);
            m_isKept = true;
            m_changed.notify_all();
        }
        m_thread.join();
    }
    Deadline(const Deadline&) = delete;
    Deadline& operator=(const Deadline&) = delete;

private:
    void watch(const char* rule, std::chrono::seconds limit) {
        std::unique_lock lock(m_mutex);
        if (!m_changed.wait_for(lock, limit, [this] { return m_isKept; })) {
            std::fprintf(stderr, "Still waiting after %lld s. The rule that seems to be broken: %s.\n",
                         static_cast<long long>(limit.count()), rule);
            std::_Exit(1);
        }
    }

    std::mutex m_mutex;
    std::condition_variable m_changed;
    bool m_isKept = false;
    std::thread m_thread;
};

}  // namespace vexil_test

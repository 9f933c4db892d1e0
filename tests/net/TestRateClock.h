#pragma once

#include "vexil/net/RateLimit.h"

#include <atomic>
#include <functional>
#include <utility>

namespace vexil_test {

/// A clock that moves while somebody sleeps by it, and by `step` with each look at it. Any thread; `onSleep`
/// is set before.
class TestRateClock : public virtual vexil::CBase, public vexil::CRateLimit::IClock {
public:
    explicit TestRateClock(std::chrono::nanoseconds step = {}) : m_step(step.count()) {}

    std::chrono::nanoseconds getTime() noexcept override {
        return std::chrono::nanoseconds(m_time += m_step);
    }
    void sleep(std::chrono::nanoseconds time) noexcept override {
        ++sleeps;
        if (onSleep) {
            onSleep(time);
        } else {
            m_time += time.count();
        }
    }
    void advance(std::chrono::nanoseconds time) noexcept { m_time += time.count(); }

    std::atomic<int> sleeps{0};
    std::function<void(std::chrono::nanoseconds)> onSleep;  ///< instead of moving the clock

private:
    const long long m_step;
    std::atomic<long long> m_time{1000000};
};

}  // namespace vexil_test

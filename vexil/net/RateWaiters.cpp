#include "vexil/net/RateWaiters.h"

#include <algorithm>
#include <utility>

namespace vexil {

namespace {

// The rate may be changed on another thread.
constexpr std::chrono::milliseconds longestWait{50};

}  // namespace

void CRateWaiters::add(CRequestRate& rate) noexcept {
    const auto now = Clock::now();
    const auto next = getNextLook(rate, now);
    m_nextLook = m_list.empty() ? next : std::min(m_nextLook, next);
    if (!std::exchange(rate.m_isListed, true)) {
        rate.m_listedAt = now;
        m_list.splice(m_list.end(), rate.m_node);
    }
}

void CRateWaiters::remove(CRequestRate& rate) noexcept {
    if (std::exchange(rate.m_isListed, false)) {
        rate.m_node.splice(rate.m_node.begin(), m_list, rate.m_place);
    }
}

void CRateWaiters::resumeDue() noexcept {
    const auto now = Clock::now();
    if (m_list.empty() || now < m_nextLook) {
        return;
    }
    // One that waits again, or still, comes to the end of the list.
    for (std::size_t count = m_list.size(); count > 0 && !m_list.empty(); --count) {
        CRequestRate& rate = *m_list.front();
        if (rate.isDue(now)) {
            remove(rate);
            rate.resume();
        } else {
            m_list.splice(m_list.end(), m_list, m_list.begin());
        }
    }
    m_nextLook = now + longestWait;
    for (const CRequestRate* const rate : m_list) {
        m_nextLook = std::min(m_nextLook, getNextLook(*rate, now));
    }
}

int CRateWaiters::getWait(int longest) const noexcept {
    if (m_list.empty()) {
        return longest;
    }
    const auto wait = std::chrono::ceil<std::chrono::milliseconds>(m_nextLook - Clock::now()).count();
    return static_cast<int>(std::clamp<long long>(wait, 0, longest));
}

CRateWaiters::Clock::time_point CRateWaiters::getNextLook(const CRequestRate& rate,
                                                          Clock::time_point now) const noexcept {
    return now + std::min<std::chrono::nanoseconds>(rate.getWait(), longestWait);
}

}  // namespace vexil

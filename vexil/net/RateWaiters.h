#pragma once

#include "vexil/BaseTypes.h"
#include "vexil/net/RequestRate.h"

#include <list>

namespace vexil {

/// The transfers of a driver that wait for their turns under a rate limit. One thread at a time.
class CRateWaiters : public virtual CBase {
public:
    using Clock = CRequestRate::Clock;

    bool isEmpty() const noexcept { return m_list.empty(); }
    /// Appends a transfer that waits, unless it is in the list. Allocates no memory.
    void add(CRequestRate& rate) noexcept;
    /// Takes a transfer out of the list if it is in it.
    void remove(CRequestRate& rate) noexcept;
    /// Continues those whose turn has come. This may call their sinks.
    void resumeDue() noexcept;
    /// How long the driver may wait.
    /// \param longest  milliseconds, at least 0
    /// \return at most `longest`; 0 if it is time for resumeDue()
    int getWait(int longest) const noexcept;

private:
    Clock::time_point getNextLook(const CRequestRate& rate, Clock::time_point now) const noexcept;

    std::list<CRequestRate*> m_list;
    Clock::time_point m_nextLook;  // if the list is not empty
};

}  // namespace vexil

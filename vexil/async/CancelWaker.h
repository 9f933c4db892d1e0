#pragma once

#include "vexil/BaseTypes.h"
#include "vexil/net/TransferData.h"
#include "zet/WakeUp.h"

#include <atomic>

namespace vexil {

/// Ends the wait for events if a request is cancelled. wake(): any thread.
class CCancelWaker : public virtual CBase, public CNetRequest::ICancelWaker {
public:
    explicit CCancelWaker(const P<zet::CWakeUp>& wakeUp) : m_wakeUp(wakeUp) {}

    void wake() noexcept override {
        m_wasCalled = true;
        m_wakeUp->wake();
    }
    /// Whether a request was cancelled since the last call.
    bool takeCall() noexcept { return m_wasCalled.exchange(false); }

private:
    const P<zet::CWakeUp> m_wakeUp;
    std::atomic<bool> m_wasCalled{false};
};

}  // namespace vexil

#pragma once

#include "vexil/BaseTypes.h"
#include "vexil/net/TransferData.h"
#include "zet/Mutex.h"
#include "zet/WakeUp.h"

#include <atomic>
#include <deque>
#include <vector>

namespace vexil {

/// Ends the wait for events if a request is cancelled. wake() and wakeFor(): any thread.
class CCancelWaker : public virtual CBase, public CNetRequest::ICancelWaker {
public:
    explicit CCancelWaker(const P<zet::CWakeUp>& wakeUp) : m_wakeUp(wakeUp) {}

    void wake() noexcept override {
        m_wasCalled = true;
        m_wakeUp->wake();
    }
    /// The same, and notes the request for takeCancelled().
    void wakeFor(CNetRequest* request) noexcept {
        try {
            const zet::CMutexLock lock(m_mutex);
            m_cancelled.push_back(request);
        } catch (...) {
            m_isListIncomplete = true;
        }
        wake();
    }
    /// Whether a request was cancelled since the last call.
    bool takeCall() noexcept { return m_wasCalled.exchange(false); }
    /// Appends the requests of wakeFor() since the last call. They may not exist any more.
    void takeCancelled(std::deque<CNetRequest*>& requests) {
        const zet::CMutexLock lock(m_mutex);
        requests.insert(requests.end(), m_cancelled.begin(), m_cancelled.end());
        m_cancelled.clear();
    }
    /// Whether a request is missing in takeCancelled() since the last call, because memory was short.
    bool takeIncomplete() noexcept { return m_isListIncomplete.exchange(false); }

private:
    const P<zet::CWakeUp> m_wakeUp;
    std::atomic<bool> m_wasCalled{false};
    std::atomic<bool> m_isListIncomplete{false};
    zet::CMutex m_mutex;
    std::vector<CNetRequest*> m_cancelled ZET_GUARDED_BY(m_mutex);
};

}  // namespace vexil

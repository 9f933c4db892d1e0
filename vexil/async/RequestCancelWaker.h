#pragma once

#include "vexil/BaseTypes.h"
#include "vexil/async/CancelWaker.h"

namespace vexil {

/// Tells a CCancelWaker which request is cancelled. wake(): any thread.
class CRequestCancelWaker : public virtual CBase, public CNetRequest::ICancelWaker {
public:
    CRequestCancelWaker(const P<CCancelWaker>& waker, CNetRequest* request)
        : m_waker(waker), m_request(request) {}

    void wake() noexcept override { m_waker->wakeFor(m_request); }

private:
    const P<CCancelWaker> m_waker;
    CNetRequest* const m_request;  // not a reference: the request owns this object
};

}  // namespace vexil

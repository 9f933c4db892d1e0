#pragma once

#include "vexil/BaseTypes.h"
#include "vexil/async/CancelWaker.h"
#include "vexil/async/RunningRequests.h"

#include <chrono>
#include <deque>
#include <map>
#include <unordered_map>

namespace vexil {

/// Finds the requests that wait inside libcurl for a connection, and have to end: libcurl 7.88 looks at none
/// of them before a connection is free.
///
/// libcurl does not tell which requests wait. But a request whose time limit has passed, or that is
/// cancelled, ends within the next look of libcurl, unless it waits. The caller therefore calls beginLook(),
/// lets libcurl look at its transfers, and calls endLook(). Of those that next() then returns, the requests
/// that libcurl has not ended wait.
///
/// Adding, finding and taking off a request costs little for any number of them.
///
/// Thread safety: one thread at a time.
class CWaitingRequests {
public:
    using Clock = std::chrono::steady_clock;

    CWaitingRequests(const CRunningRequests& requests, const P<CCancelWaker>& waker)
        : m_requests(requests), m_waker(waker) {}

    /// A request is about to begin. After an exception nothing has changed.
    void add(CNetRequest* request);
    /// A request is not with libcurl any more.
    void forget(const CNetRequest* request) noexcept;

    /// Notes what has to end now.
    /// \param looksAtTokens  whether it is time to look at the cancel tokens, too
    /// \return whether libcurl must look at all its transfers, because one of them may have to end
    bool beginLook(bool looksAtTokens);
    /// Time limits of the requests that were added begin now at the latest.
    void endLook();
    /// The next request that has to end and that libcurl has not ended, and why: prepares its error.
    /// \return null if there is no other one
    P<CNetRequest> next(CURLcode& result);

    /// The milliseconds until the next time limit; at most `longest`.
    int getWait(int longest) const noexcept;

private:
    struct CLimit {
        Clock::time_point start;
        CNetRequest* request;
    };
    /// By their ends; those with the same end in the order in which they were added.
    using Limits = std::multimap<Clock::time_point, CLimit>;

    void addLimit(CNetRequest* request, Clock::time_point now);
    P<CNetRequest> nextCancelled();
    P<CNetRequest> nextTimedOut();

    const CRunningRequests& m_requests;
    const P<CCancelWaker> m_waker;
    std::deque<CNetRequest*> m_added;      // since the last look
    std::deque<CNetRequest*> m_cancelled;  // when the last look began; they may not exist any more
    Limits m_limits;
    std::unordered_map<const CNetRequest*, Limits::iterator> m_limitOf;
    Clock::time_point m_lookedAt;
};

}  // namespace vexil

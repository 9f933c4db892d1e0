#include "vexil/async/WaitingRequests.h"

#include "vexil/async/RequestCancelWaker.h"
#include "vexil/net/NetRequestParts.h"

#include <algorithm>

namespace vexil {

void CWaitingRequests::add(CNetRequest* request) {
    const P<CRequestCancelWaker> waker = new CRequestCancelWaker(m_waker, request);
    m_added.push_back(request);
    request->setCancelWaker(waker);
}

void CWaitingRequests::forget(const CNetRequest* request) noexcept {
    const auto place = m_limitOf.find(request);
    if (place != m_limitOf.end()) {
        m_limits.erase(place->second);
        m_limitOf.erase(place);
    }
}

bool CWaitingRequests::beginLook(bool looksAtTokens) {
    m_lookedAt = Clock::now();
    m_waker->takeCancelled(m_cancelled);
    if (m_waker->takeIncomplete() || looksAtTokens) {
        m_requests.forEach([this](CNetRequest& request) {
            if (CNetRequestCallbacks::mustEnd(request)) {
                m_cancelled.push_back(&request);
            }
        });
    }
    return !m_cancelled.empty() || (!m_limits.empty() && m_limits.begin()->first <= m_lookedAt);
}

void CWaitingRequests::endLook() {
    const auto now = Clock::now();
    while (!m_added.empty()) {
        CNetRequest* const request = m_added.front();
        if (m_requests.contains(request)) {
            addLimit(request, now);
            // Cancelled before it had a waker.
            if (CNetRequestCallbacks::mustEnd(*request)) {
                m_cancelled.push_back(request);
            }
        }
        m_added.pop_front();
    }
}

void CWaitingRequests::addLimit(CNetRequest* request, Clock::time_point now) {
    const auto limit = CNetRequestCallbacks::getTimeLimit(*request);
    if (limit.count() <= 0 || m_limitOf.contains(request)) {
        return;
    }
    const auto place = m_limits.emplace(now + limit, CLimit{now, request});
    try {
        m_limitOf.emplace(request, place);
    } catch (...) {
        m_limits.erase(place);
        throw;
    }
}

P<CNetRequest> CWaitingRequests::next(CURLcode& result) {
    result = CURLE_ABORTED_BY_CALLBACK;
    if (P<CNetRequest> request = nextCancelled()) {
        return request;
    }
    result = CURLE_OPERATION_TIMEDOUT;
    return nextTimedOut();
}

P<CNetRequest> CWaitingRequests::nextCancelled() {
    while (!m_cancelled.empty()) {
        CNetRequest* const request = m_cancelled.front();
        m_cancelled.pop_front();
        if (m_requests.contains(request) && CNetRequestCallbacks::noteCancelled(*request)) {
            return request;
        }
    }
    return nullptr;
}

P<CNetRequest> CWaitingRequests::nextTimedOut() {
    if (m_limits.empty() || m_limits.begin()->first > m_lookedAt) {
        return nullptr;
    }
    const CLimit limit = m_limits.begin()->second;
    forget(limit.request);
    CNetRequestCallbacks::noteTimedOut(
        *limit.request, std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - limit.start));
    return limit.request;
}

int CWaitingRequests::getWait(int longest) const noexcept {
    if (m_limits.empty()) {
        return longest;
    }
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(m_limits.begin()->first - Clock::now());
    return static_cast<int>(std::clamp<std::chrono::milliseconds::rep>(left.count(), 0, longest));
}

}  // namespace vexil

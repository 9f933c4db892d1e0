#include "vexil/net/RateLimit.h"

#include "vexil/net/NetRequestParts.h"
#include "vexil/net/RateBuckets.h"

#include <thread>

namespace vexil {

namespace {

class CSystemClock final : public virtual CBase, public CRateLimit::IClock {
public:
    std::chrono::nanoseconds getTime() noexcept override {
        return std::chrono::steady_clock::now().time_since_epoch();
    }
    void sleep(std::chrono::nanoseconds time) noexcept override { std::this_thread::sleep_for(time); }
};

CRateLimit::IClock* checkClock(CRateLimit::IClock* clock) {
    if (!clock) {
        throw CInvalidArgError("CRateLimit::CRateLimit", "clock must not be null");
    }
    return clock;
}

}  // namespace

CRateLimit::IClock::~IClock() = default;

CRateLimit::CRateLimit() : m_buckets(std::make_unique<CRateBuckets>(make<CSystemClock>())) {}

CRateLimit::CRateLimit(IClock* clock) : m_buckets(std::make_unique<CRateBuckets>(checkClock(clock))) {}

CRateLimit::~CRateLimit() = default;

void CRateLimit::setDownloadRate(int64 bytesPerSecond) {
    m_buckets->setRate(RateDirection::Download, bytesPerSecond, "CRateLimit::setDownloadRate");
}

void CRateLimit::setUploadRate(int64 bytesPerSecond) {
    m_buckets->setRate(RateDirection::Upload, bytesPerSecond, "CRateLimit::setUploadRate");
}

int64 CRateLimit::getDownloadRate() const {
    return m_buckets->getRate(RateDirection::Download);
}

int64 CRateLimit::getUploadRate() const {
    return m_buckets->getRate(RateDirection::Upload);
}

void CNetRequestCallbacks::setRateLimit(CNetRequest& request, CRateLimit* limit) {
    CNetRequestParts& parts = *request.m_parts;
    const P<CRateLimit> keepAlive = limit;
    if (!parts.rate) {
        if (!limit) {
            return;
        }
        parts.rate = std::make_unique<CRequestRate>(parts.curl.getHandle());
    }
    parts.rate->setLimit(limit);
    // A running transfer keeps its limit.
    parts.watch.setLimited(limit || parts.rate->isActive());
    request.setProgressOptions();
}

P<CRateLimit> CNetRequestCallbacks::getRateLimit(const CNetRequest& request) {
    return request.m_parts->rate ? request.m_parts->rate->getLimit() : nullptr;
}

bool CNetRequestCallbacks::isLimited(const CNetRequest& request) noexcept {
    return request.m_parts->rate && request.m_parts->rate->isActive();
}

void CNetRequestCallbacks::beginRate(CNetRequest& request, CRateWaiters& waiters) noexcept {
    request.m_parts->beginRate(&waiters);
}

void CNetRequestCallbacks::endRate(CNetRequest& request) noexcept {
    request.m_parts->endRate();
}

bool CNetRequestCallbacks::isHeldByRate(const CNetRequest& request) noexcept {
    return request.m_parts->rate && request.m_parts->rate->isHeld();
}

bool CNetRequestCallbacks::continueLimited(CNetRequest& request) noexcept {
    const bool isLimited = CNetRequestCallbacks::isLimited(request);
    if (isLimited) {
        request.m_parts->rate->resume();
    }
    return isLimited;
}

void CNetRequestParts::beginRate(CRateWaiters* waiters) noexcept {
    if (rate) {
        // libcurl does not pause a transfer that has no connection.
        rate->begin(!curl.getURL().startsWithNoCase("file:"), waiters);
    }
}

void setRateLimit(CNetRequest& request, CRateLimit* limit) {
    CNetRequestCallbacks::setRateLimit(request, limit);
}

P<CRateLimit> getRateLimit(const CNetRequest& request) {
    return CNetRequestCallbacks::getRateLimit(request);
}

}  // namespace vexil

#pragma once

#include "vexil/BaseTypes.h"
#include "vexil/net/RateBucket.h"
#include "vexil/net/RateLimit.h"
#include "zet/Mutex.h"

namespace vexil {

/// The way of a body.
enum class RateDirection { Download, Upload };

/// The buckets of a CRateLimit. Any thread. The functions do what those of CRateBucket do.
class CRateBuckets {
public:
    explicit CRateBuckets(CRateLimit::IClock* clock) : m_clock(clock) {}

    /// \param function  named in the error
    /// \throws CInvalidArgError for a negative rate
    void setRate(RateDirection direction, int64 bytesPerSecond, const char* function);
    int64 getRate(RateDirection direction) const;

    int64 take(RateDirection direction, CRateBucket::Place& place, int64 wanted) noexcept;
    void giveBack(RateDirection direction, int64 bytes) noexcept;
    void drop(RateDirection direction, CRateBucket::Place& place) noexcept;
    CRateBucket::Time getWait(RateDirection direction, const CRateBucket::Place& place) noexcept;
    /// Sleeps by the clock of the limit.
    void sleep(CRateBucket::Time time) noexcept { m_clock->sleep(time); }

private:
    CRateBucket& get(RateDirection direction) noexcept ZET_REQUIRES(m_mutex) {
        return direction == RateDirection::Download ? m_download : m_upload;
    }

    const P<CRateLimit::IClock> m_clock;
    mutable zet::CMutex m_mutex;
    CRateBucket m_download ZET_GUARDED_BY(m_mutex);
    CRateBucket m_upload ZET_GUARDED_BY(m_mutex);
};

}  // namespace vexil

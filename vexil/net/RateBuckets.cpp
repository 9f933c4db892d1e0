#include "vexil/net/RateBuckets.h"

namespace vexil {

// The time is read under the lock, so that it does not go backwards for a bucket.

void CRateBuckets::setRate(RateDirection direction, int64 bytesPerSecond, const char* function) {
    if (bytesPerSecond < 0) {
        throw CInvalidArgError(function, "bytesPerSecond must not be negative");
    }
    const zet::CMutexLock lock(m_mutex);
    get(direction).setRate(bytesPerSecond, m_clock->getTime());
}

int64 CRateBuckets::getRate(RateDirection direction) const {
    const zet::CMutexLock lock(m_mutex);
    return (direction == RateDirection::Download ? m_download : m_upload).getRate();
}

int64 CRateBuckets::take(RateDirection direction, CRateBucket::Place& place, int64 wanted) noexcept {
    const zet::CMutexLock lock(m_mutex);
    return get(direction).take(place, wanted, m_clock->getTime());
}

void CRateBuckets::giveBack(RateDirection direction, int64 bytes) noexcept {
    const zet::CMutexLock lock(m_mutex);
    get(direction).giveBack(bytes);
}

void CRateBuckets::drop(RateDirection direction, CRateBucket::Place& place) noexcept {
    const zet::CMutexLock lock(m_mutex);
    get(direction).drop(place);
}

CRateBucket::Time CRateBuckets::getWait(RateDirection direction, const CRateBucket::Place& place) noexcept {
    const zet::CMutexLock lock(m_mutex);
    return get(direction).getWait(place, m_clock->getTime());
}

}  // namespace vexil

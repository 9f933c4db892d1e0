#include "vexil/net/RateBucket.h"

#include <algorithm>
#include <utility>

namespace vexil {

namespace {

constexpr int64 nanosecondsOfASecond = 1000000000;
// An idle bucket collects what it would fill in 100 ms: enough for a driver that comes late.
constexpr int64 burstsOfASecond = 10;
// At most 50 ms belong to one turn, so that turns come often also with a low rate.
constexpr int64 turnsOfASecond = 20;
constexpr int64 longestTurn = 65536;    // bytes
constexpr double longestWait = 3.6e12;  // nanoseconds

}  // namespace

void CRateBucket::setRate(int64 bytesPerSecond, Time now) noexcept {
    fill(now);
    if (m_rate == 0) {
        // Nothing was counted so far.
        m_filled = m_queued;
        m_part = 0;
    }
    m_rate = bytesPerSecond;
    m_filled = std::min(m_filled, m_queued + m_rate / burstsOfASecond);
}

int64 CRateBucket::take(Place& place, int64 wanted, Time now) noexcept {
    fill(now);
    if (m_rate == 0) {
        drop(place);
        return wanted;
    }
    if (place.bytes == 0) {
        const int64 turn = std::clamp<int64>(m_rate / turnsOfASecond, 1, longestTurn);
        place = {m_queued, std::min(wanted, turn)};
        m_queued += place.bytes;
    }
    if (place.position > m_filled) {
        return 0;
    }
    const int64 queued = std::exchange(place.bytes, 0);
    giveBack(std::max<int64>(queued - wanted, 0));
    return std::min(queued, wanted);
}

void CRateBucket::giveBack(int64 bytes) noexcept {
    m_filled += std::min(bytes, getRoom());
}

void CRateBucket::drop(Place& place) noexcept {
    giveBack(std::exchange(place.bytes, 0));
}

CRateBucket::Time CRateBucket::getWait(const Place& place, Time now) noexcept {
    fill(now);
    if (m_rate == 0 || place.bytes == 0 || place.position <= m_filled) {
        return Time(0);
    }
    const double missing = static_cast<double>(place.position - m_filled);
    const double wait = missing * static_cast<double>(nanosecondsOfASecond) / static_cast<double>(m_rate);
    return Time(static_cast<int64>(std::min(wait, longestWait)) + 1);
}

void CRateBucket::fill(Time now) noexcept {
    if (now <= m_now) {
        return;
    }
    const Time time = now - std::exchange(m_now, now);
    if (m_rate > 0) {
        m_filled += countBytes(time, getRoom());
    }
}

/// The bytes of a time, at most `room`, with the part of a byte that was left the last time.
int64 CRateBucket::countBytes(Time time, int64 room) noexcept {
    const double estimate = static_cast<double>(m_rate) * static_cast<double>(time.count()) /
                            static_cast<double>(nanosecondsOfASecond);
    if (estimate > static_cast<double>(room)) {
        m_part = 0;
        return room;
    }
    // Now no product is too large.
    const int64 seconds = time.count() / nanosecondsOfASecond;
    const int64 rest = time.count() % nanosecondsOfASecond;
    const int64 parts = m_rate % nanosecondsOfASecond * rest + m_part;
    m_part = parts % nanosecondsOfASecond;
    return std::min(room,
                    m_rate * seconds + m_rate / nanosecondsOfASecond * rest + parts / nanosecondsOfASecond);
}

/// How far the row may still be filled.
int64 CRateBucket::getRoom() const noexcept {
    return std::max<int64>(m_queued + m_rate / burstsOfASecond - m_filled, 0);
}

}  // namespace vexil

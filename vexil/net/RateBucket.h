#pragma once

#include "vexil/BaseTypes.h"

#include <chrono>

namespace vexil {

/// The arithmetic of a rate limit for one direction: a bucket that fills with time, and the queue of those
/// who take from it. The caller tells the time, which must not go backwards. One thread at a time.
///
/// Each byte that is taken has a position in a row. The bucket fills the row at its rate; who asks gets the
/// next free place of it, and may take its bytes when the row is filled up to there. So the first one of an
/// idle bucket takes its bytes at once, and the next one waits for as long as these bytes last.
class CRateBucket {
public:
    using Time = std::chrono::nanoseconds;

    /// A place in the queue. One with 0 bytes is not in the queue.
    struct Place {
        int64 position = 0;
        int64 bytes = 0;
    };

    /// Places in the queue stay; from now on it moves with the new rate.
    /// \param bytesPerSecond  0 for no limit
    void setRate(int64 bytesPerSecond, Time now) noexcept;
    int64 getRate() const noexcept { return m_rate; }

    /// Takes bytes if it is their turn. Otherwise they get a place in the queue, unless they have one.
    /// \param place   of the caller, which gives it back with each call until it gets bytes
    /// \param wanted  at least 1
    /// \return 1 to `wanted` bytes; 0 if it is not their turn
    int64 take(Place& place, int64 wanted, Time now) noexcept;
    /// Returns bytes that were taken and not used: others may use them at once.
    void giveBack(int64 bytes) noexcept;
    /// Leaves the queue.
    void drop(Place& place) noexcept;
    /// How long it takes until it is the turn of this place, if the rate stays. At most an hour.
    Time getWait(const Place& place, Time now) noexcept;

private:
    void fill(Time now) noexcept;
    int64 countBytes(Time time, int64 room) noexcept;
    int64 getRoom() const noexcept;

    int64 m_rate = 0;
    int64 m_filled = 0;  // end of the filled part of the row
    int64 m_queued = 0;  // end of the row: all positions before it are taken or have a place
    int64 m_part = 0;    // of the next byte, in parts of 1,000,000,000
    Time m_now{0};
};

}  // namespace vexil

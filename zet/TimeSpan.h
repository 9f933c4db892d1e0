#pragma once

#include "zet/Types.h"

#include <compare>
#include <limits>

namespace zet {

/// A length of time: a signed count of microseconds, or "not set". A plain value.
class CTimeSpan {
public:
    /// Not set; sorts before every other span.
    constexpr CTimeSpan() noexcept = default;

    /// The smallest count means "not set".
    static constexpr CTimeSpan fromMicroseconds(int64 count) noexcept { return CTimeSpan(count); }
    /// @{

    /// Counts too large for microseconds in 64 bits become the largest (or smallest set) span.
    static constexpr CTimeSpan fromMilliseconds(int64 count) noexcept { return scaled(count, 1000); }
    static constexpr CTimeSpan fromSeconds(int64 count) noexcept { return scaled(count, 1000000); }
    /// @}

    /// Whether this is a span.
    constexpr bool isSet() const noexcept { return m_microseconds != notSet; }
    /// The whole count; the smallest one when not set.
    constexpr int64 getMicroseconds() const noexcept { return m_microseconds; }
    /// Rounded toward zero. Meaningless when not set.
    constexpr int64 getMilliseconds() const noexcept { return m_microseconds / 1000; }

    /// Shorter spans are less, negative ones less than 0.
    friend constexpr auto operator<=>(const CTimeSpan&, const CTimeSpan&) noexcept = default;

private:
    static constexpr int64 notSet = std::numeric_limits<int64>::min();

    constexpr explicit CTimeSpan(int64 microseconds) noexcept : m_microseconds(microseconds) {}

    static constexpr CTimeSpan scaled(int64 count, int64 unit) noexcept {
        constexpr int64 largest = std::numeric_limits<int64>::max();
        if (count > largest / unit) {
            return CTimeSpan(largest);
        }
        return CTimeSpan(count < -largest / unit ? -largest : count * unit);
    }

    int64 m_microseconds = notSet;
};

}  // namespace zet

#pragma once

#include "zet/Types.h"

#include <chrono>
#include <compare>
#include <limits>
#include <ratio>
#include <type_traits>

namespace zet {

/// A length of time: a signed count of microseconds, or "not set". A plain value.
class CTimeSpan {
public:
    /// Not set; sorts before every other span.
    constexpr CTimeSpan() noexcept = default;

    /// A duration, rounded toward zero; one that is too long becomes the longest span. NaN becomes "not set".
    template <class Count, class Period>
    constexpr CTimeSpan(const std::chrono::duration<Count, Period>& duration) noexcept
        : m_microseconds(toMicroseconds(duration)) {}

    /// The smallest count means "not set".
    [[nodiscard]] static constexpr CTimeSpan fromMicroseconds(int64 count) noexcept {
        return CTimeSpan(count);
    }
    /// @{

    /// A count that is too large for microseconds in 64 bits becomes the longest span, with its sign.
    [[nodiscard]] static constexpr CTimeSpan fromMilliseconds(int64 count) noexcept {
        return scaled(count, 1000);
    }
    [[nodiscard]] static constexpr CTimeSpan fromSeconds(int64 count) noexcept {
        return scaled(count, 1000000);
    }
    /// @}

    /// True if this is a span.
    [[nodiscard]] constexpr bool isSet() const noexcept { return m_microseconds != notSet; }
    /// The whole count; the smallest one if not set.
    [[nodiscard]] constexpr int64 getMicroseconds() const noexcept { return m_microseconds; }
    /// Rounded toward zero. Undefined if not set.
    [[nodiscard]] constexpr int64 getMilliseconds() const noexcept { return m_microseconds / 1000; }

    /// Shorter spans are less, negative ones less than 0.
    friend constexpr auto operator<=>(const CTimeSpan&, const CTimeSpan&) noexcept = default;

private:
    static constexpr int64 notSet = std::numeric_limits<int64>::min();

    constexpr explicit CTimeSpan(int64 microseconds) noexcept : m_microseconds(microseconds) {}

    static constexpr int64 largest = std::numeric_limits<int64>::max();

    template <class Count, class Period>
    static constexpr int64 toMicroseconds(const std::chrono::duration<Count, Period>& duration) noexcept {
        if constexpr (std::is_same_v<std::chrono::duration<Count, Period>, std::chrono::microseconds>) {
            return duration.count() == notSet ? -largest : duration.count();
        }
        // Precise enough to find out whether the count has room.
        constexpr double limit = 9223372036854775807.0;
        const double count = std::chrono::duration<double, std::micro>(duration).count();
        if (count != count) {
            return notSet;
        }
        if (count >= limit || count <= -limit) {
            return count > 0 ? largest : -largest;
        }
        return std::chrono::duration_cast<std::chrono::duration<int64, std::micro>>(duration).count();
    }

    static constexpr CTimeSpan scaled(int64 count, int64 unit) noexcept {
        if (count > largest / unit) {
            return CTimeSpan(largest);
        }
        return CTimeSpan(count < -largest / unit ? -largest : count * unit);
    }

    int64 m_microseconds = notSet;
};

}  // namespace zet

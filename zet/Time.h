#pragma once

#include "zet/Export.h"
#include "zet/Types.h"

#include <compare>
#include <limits>

namespace zet {

/// A point in time: microseconds since 1970-01-01 00:00 UTC (without leap seconds; negative before), or
/// "not set". A plain value.
class ZET_API CTime {
public:
    /// Not set; sorts before every other time.
    constexpr CTime() noexcept = default;

    /// The system's wall clock.
    [[nodiscard]] static CTime now() noexcept;
    /// Seconds since 1970, as in `time_t`. Beyond about 292,000 years before or after 1970: the nearest
    /// possible time.
    [[nodiscard]] static CTime fromCTime(int64 seconds) noexcept;
    /// Microseconds since 1970. The smallest count means "not set".
    [[nodiscard]] static constexpr CTime fromMicroseconds(int64 count) noexcept { return CTime(count); }

    /// True if this is a time.
    [[nodiscard]] constexpr bool isSet() const noexcept { return m_microseconds != notSet; }
    /// Microseconds since 1970; the smallest count if not set.
    [[nodiscard]] constexpr int64 getMicroseconds() const noexcept { return m_microseconds; }

    /// Earlier times are less.
    friend constexpr auto operator<=>(const CTime&, const CTime&) noexcept = default;

private:
    static constexpr int64 notSet = std::numeric_limits<int64>::min();

    constexpr explicit CTime(int64 microseconds) noexcept : m_microseconds(microseconds) {}

    int64 m_microseconds = notSet;
};

}  // namespace zet

#pragma once

#include "vexil/BaseTypes.h"

#include <compare>
#include <optional>
#include <string>
#include <string_view>

namespace vexil::app {

/// When a file was changed last, since 1970-01-01 00:00 UTC.
struct CFileTime {
    int64 seconds = 0;    ///< rounded down, so also for times before 1970
    int nanoseconds = 0;  ///< 0 to 999,999,999, after the seconds

    auto operator<=>(const CFileTime&) const = default;

    /// Seconds as a decimal number with nine digits after the point, such as "1763899200.123456789".
    std::string toText() const;
    /// The reverse, for up to nine digits after the point.
    /// \return nullopt if the text is no such number
    static std::optional<CFileTime> fromText(std::string_view text);
};

}  // namespace vexil::app

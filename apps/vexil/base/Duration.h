#pragma once

#include "vexil/BaseTypes.h"
#include "zet/Time.h"

#include <optional>
#include <string_view>

namespace vexil::app {

/// Reads a duration: a whole number and a unit, "90s", "30m", "12h", "7d" or "2w".
/// \return seconds; nullopt for any other text, and for more than 100 years
std::optional<int64> parseDuration(std::string_view text);

/// Reads a time of an S3 server: ISO 8601 in UTC, "2010-11-10T20:48:33.000Z". The fraction is ignored.
/// \return nullopt for any other text
std::optional<zet::CTime> parseISOTime(const String& text);

}  // namespace vexil::app

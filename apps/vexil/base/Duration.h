#pragma once

#include "apps/vexil/base/FileTime.h"
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

/// Reads a moment: a duration (parseDuration()) for so long ago, a day "2026-01-31", or a day and a time
/// "2026-01-31T08:30" or "2026-01-31T08:30:00". Days and times are those of the computer's time zone, with a
/// "Z" at the end those of UTC. A day stands for its beginning.
/// \param now  seconds since 1970-01-01 00:00 UTC
/// \return nullopt for any other text, and for a day or time that does not exist
std::optional<CFileTime> parseMoment(std::string_view text, int64 now);

}  // namespace vexil::app

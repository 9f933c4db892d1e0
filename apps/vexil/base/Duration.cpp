#include "apps/vexil/base/Duration.h"

#include "vexil/net/HeaderValues.h"
#include "zet/ASCII.h"

#include <algorithm>
#include <charconv>
#include <chrono>
#include <ctime>
#include <string>
#include <system_error>

namespace vexil::app {

namespace {

constexpr int64 secondsPerMinute = 60;
constexpr int64 secondsPerHour = 60 * secondsPerMinute;
constexpr int64 secondsPerDay = 24 * secondsPerHour;
constexpr int hoursOfADay = 24;
constexpr int64 longest = 36525 * secondsPerDay;

/// 0 for any other character.
int64 getUnit(char unit) {
    switch (unit) {
    case 's':
        return 1;
    case 'm':
        return secondsPerMinute;
    case 'h':
        return secondsPerHour;
    case 'd':
        return secondsPerDay;
    case 'w':
        return 7 * secondsPerDay;
    default:
        return 0;
    }
}

/// Whether a text looks like a form, in which "0" stands for any digit.
bool hasForm(std::string_view text, std::string_view form) {
    return std::equal(form.begin(), form.end(), text.begin(), text.end(), [](char expected, char c) {
        return expected == '0' ? zet::isDigit(c) : c == expected;
    });
}

/// 0 if the text has no digits there.
int readNumber(std::string_view text, std::size_t begin, std::size_t length) {
    int number = 0;
    if (begin < text.size()) {
        const std::string_view digits = text.substr(begin, length);
        std::from_chars(digits.data(), digits.data() + digits.size(), number);
    }
    return number;
}

/// Seconds since 1970.
std::optional<int64> toLocalSeconds(const std::chrono::year_month_day& day, int64 secondOfDay) {
    std::tm time = {};
    time.tm_year = static_cast<int>(day.year()) - 1900;
    time.tm_mon = static_cast<int>(static_cast<unsigned>(day.month())) - 1;
    time.tm_mday = static_cast<int>(static_cast<unsigned>(day.day()));
    time.tm_hour = static_cast<int>(secondOfDay / secondsPerHour);
    time.tm_min = static_cast<int>(secondOfDay % secondsPerHour / secondsPerMinute);
    time.tm_sec = static_cast<int>(secondOfDay % secondsPerMinute);
    time.tm_isdst = -1;
    const std::time_t seconds = std::mktime(&time);
    return seconds == -1 ? std::nullopt : std::optional(static_cast<int64>(seconds));
}

}  // namespace

std::optional<int64> parseDuration(std::string_view text) {
    const int64 unit = text.empty() ? 0 : getUnit(text.back());
    if (unit == 0) {
        return std::nullopt;
    }
    text.remove_suffix(1);
    int64 number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc() || end != text.data() + text.size() || number < 0 || number > longest / unit) {
        return std::nullopt;
    }
    return number * unit;
}

std::optional<zet::CTime> parseISOTime(const String& text) {
    const std::string ascii = text.toUTF8();
    static constexpr std::string_view form = "0000-00-00T00:00:00";
    if (ascii.size() <= form.size() || !hasForm(std::string_view(ascii).substr(0, form.size()), form)) {
        return std::nullopt;
    }
    std::string_view rest = std::string_view(ascii).substr(form.size());
    if (rest.front() == '.') {
        rest.remove_prefix(std::min(rest.find_first_not_of("0123456789", 1), rest.size()));
    }
    if (rest != "Z" && rest != "+00:00") {
        return std::nullopt;
    }
    try {
        // In the form that HTTP dates are read from.
        return parseTimestamp(String(ascii.substr(0, 4) + ascii.substr(5, 2) + ascii.substr(8, 2) + " " +
                                     ascii.substr(11, 8) + " GMT"));
    } catch (const CError&) {
        return std::nullopt;
    }
}

std::optional<CFileTime> parseMoment(std::string_view text, int64 now) {
    if (const auto age = parseDuration(text)) {
        return CFileTime{now - *age, 0};
    }
    const bool isUTC = text.ends_with('Z');
    text.remove_suffix(isUTC ? 1 : 0);
    if (!hasForm(text, "0000-00-00") && !hasForm(text, "0000-00-00T00:00") &&
        !hasForm(text, "0000-00-00T00:00:00")) {
        return std::nullopt;
    }
    const std::chrono::year_month_day day(std::chrono::year(readNumber(text, 0, 4)),
                                          std::chrono::month(static_cast<unsigned>(readNumber(text, 5, 2))),
                                          std::chrono::day(static_cast<unsigned>(readNumber(text, 8, 2))));
    const int hour = readNumber(text, 11, 2);
    const int minute = readNumber(text, 14, 2);
    const int second = readNumber(text, 17, 2);
    if (!day.ok() || hour >= hoursOfADay || minute >= secondsPerMinute || second >= secondsPerMinute) {
        return std::nullopt;
    }
    const int64 secondOfDay = hour * secondsPerHour + minute * secondsPerMinute + second;
    const std::optional<int64> seconds =
        isUTC ? std::chrono::sys_days(day).time_since_epoch().count() * secondsPerDay + secondOfDay
              : toLocalSeconds(day, secondOfDay);
    return seconds ? std::optional(CFileTime{*seconds, 0}) : std::nullopt;
}

}  // namespace vexil::app

#include "apps/vexil/base/Duration.h"

#include "vexil/net/HeaderValues.h"
#include "zet/ASCII.h"

#include <algorithm>
#include <charconv>
#include <string>
#include <system_error>

namespace vexil::app {

namespace {

constexpr int64 secondsPerMinute = 60;
constexpr int64 secondsPerHour = 60 * secondsPerMinute;
constexpr int64 secondsPerDay = 24 * secondsPerHour;
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
    const auto hasForm = [&ascii] {
        return std::equal(form.begin(), form.end(), ascii.begin(), [](char expected, char c) {
            return expected == '0' ? zet::isDigit(c) : c == expected;
        });
    };
    if (ascii.size() <= form.size() || !hasForm()) {
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

}  // namespace vexil::app

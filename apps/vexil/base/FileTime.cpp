#include "apps/vexil/base/FileTime.h"

#include <charconv>

namespace vexil::app {

namespace {

constexpr int nanosecondsOfASecond = 1'000'000'000;
constexpr std::size_t digitsAfterThePoint = 9;

// Only digits: std::from_chars() also takes a sign.
template <class Number>
std::optional<Number> readDigits(std::string_view text) {
    Number number = 0;
    if (text.empty() || text.find_first_not_of("0123456789") != std::string_view::npos) {
        return std::nullopt;
    }
    const auto [end, failure] = std::from_chars(text.data(), text.data() + text.size(), number);
    return failure == std::errc() ? std::optional(number) : std::nullopt;
}

}  // namespace

std::string CFileTime::toText() const {
    const bool isNegative = seconds < 0;
    // As a decimal number, -0.25 is one second before 1970 and 0.75 seconds after that.
    const bool isRoundedDown = isNegative && nanoseconds > 0;
    const int64 whole = isRoundedDown ? seconds + 1 : seconds;
    const int rest = isRoundedDown ? nanosecondsOfASecond - nanoseconds : nanoseconds;
    std::string digits = std::to_string(rest);
    digits.insert(0, digitsAfterThePoint - digits.size(), '0');
    return (isNegative && whole == 0 ? "-" : "") + std::to_string(whole) + "." + digits;
}

std::optional<CFileTime> CFileTime::fromText(std::string_view text) {
    const bool isNegative = text.starts_with('-');
    if (isNegative) {
        text.remove_prefix(1);
    }
    const std::size_t point = text.find('.');
    const auto whole = readDigits<int64>(text.substr(0, point));
    std::optional<int> rest = 0;
    if (point != std::string_view::npos) {
        std::string digits(text.substr(point + 1));
        if (digits.empty() || digits.size() > digitsAfterThePoint) {
            return std::nullopt;
        }
        digits.append(digitsAfterThePoint - digits.size(), '0');
        rest = readDigits<int>(digits);
    }
    if (!whole || !rest) {
        return std::nullopt;
    }
    if (!isNegative) {
        return CFileTime{*whole, *rest};
    }
    return *rest == 0 ? CFileTime{-*whole, 0} : CFileTime{-*whole - 1, nanosecondsOfASecond - *rest};
}

}  // namespace vexil::app

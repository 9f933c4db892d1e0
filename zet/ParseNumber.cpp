#include "zet/ParseNumber.h"

#include "zet/ASCII.h"
#include "zet/Error.h"

#include <charconv>
#include <limits>
#include <optional>

namespace zet {

namespace {

std::optional<int64> parse(std::wstring_view text) noexcept {
    const bool isNegative = text.starts_with(L'-');
    if (isNegative || text.starts_with(L'+')) {
        text.remove_prefix(1);
    }
    if (text.empty()) {
        return std::nullopt;
    }
    // The value is built as a negative number, because the smallest number has no positive counterpart.
    constexpr int64 smallest = std::numeric_limits<int64>::min();
    int64 value = 0;
    for (const wchar_t c : text) {
        const int digit = isDigit(c) ? static_cast<int>(c - L'0') : -1;
        if (digit < 0 || value < smallest / 10 || value * 10 < smallest + digit) {
            return std::nullopt;
        }
        value = value * 10 - digit;
    }
    if (!isNegative && value == smallest) {
        return std::nullopt;
    }
    return isNegative ? value : -value;
}

}  // namespace

int64 parseInt64Strictly(const String& text, bool allowWhiteSpace) {
    const auto value = parse(allowWhiteSpace ? trimmed(text.view()) : text.view());
    if (!value) {
        throw CError("Invalid number: '" + text + "'");
    }
    return *value;
}

int64 parseInt64(const String& text, int64 defaultValue) noexcept {
    return parse(text.view()).value_or(defaultValue);
}

double parseSimpleDouble(const String& text, double defaultValue) {
    std::string digits = text.toUTF8();
    if (digits.starts_with('+')) {
        digits.erase(0, 1);
        if (digits.starts_with('-')) {
            return defaultValue;
        }
    }
    if (digits.find_first_not_of("0123456789.-") != std::string::npos) {
        // Otherwise "inf" and "nan" would be accepted.
        return defaultValue;
    }
    double value = 0;
    const char* const end = digits.data() + digits.size();
    const auto [last, error] = std::from_chars(digits.data(), end, value, std::chars_format::fixed);
    return error == std::errc() && last == end ? value : defaultValue;
}

}  // namespace zet

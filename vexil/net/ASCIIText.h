#pragma once

#include <algorithm>
#include <cstddef>
#include <string_view>

namespace vexil {

constexpr bool isASCIIDigit(char c) {
    return c >= '0' && c <= '9';
}

constexpr char toASCIILower(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

constexpr bool isASCIIAlphanumeric(char c) {
    return isASCIIDigit(c) || (toASCIILower(c) >= 'a' && toASCIILower(c) <= 'z');
}

inline bool equalsNoCase(std::string_view left, std::string_view right) {
    return std::equal(left.begin(), left.end(), right.begin(), right.end(),
                      [](char a, char b) { return toASCIILower(a) == toASCIILower(b); });
}

inline bool startsWithNoCase(std::string_view text, std::string_view start) {
    return equalsNoCase(text.substr(0, start.size()), start);
}

}  // namespace vexil

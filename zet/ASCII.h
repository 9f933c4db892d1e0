/// \file
/// Characters and case of ASCII, independent of the locale. Characters beyond ASCII are never digits, letters
/// or control characters here, and have no case.
#pragma once

#include <algorithm>
#include <concepts>
#include <string_view>
#include <type_traits>

namespace zet {

/// The types of a character of text: `char` (a byte of UTF-8) and `wchar_t` (a unit of String).
template <class Char>
concept Character = std::same_as<Char, char> || std::same_as<Char, wchar_t>;

/// True for U+0000 to U+007F.
template <Character Char>
constexpr bool isASCII(Char c) noexcept {
    return static_cast<std::make_unsigned_t<Char>>(c) < 0x80;
}

/// True for the control characters of ASCII: U+0000 to U+001F and U+007F.
template <Character Char>
constexpr bool isControl(Char c) noexcept {
    return static_cast<std::make_unsigned_t<Char>>(c) < 0x20 || c == 0x7F;
}

/// True for all control characters of Unicode: those of ASCII and U+0080 to U+009F. There is no form for
/// `char`: a byte of UTF-8 in this range is a part of another character.
template <std::same_as<wchar_t> Char>
constexpr bool isUnicodeControl(Char c) noexcept {
    return isControl(c) || (c >= 0x80 && c < 0xA0);
}

/// True for "0" to "9".
template <Character Char>
constexpr bool isDigit(Char c) noexcept {
    return c >= '0' && c <= '9';
}

/// "A" to "Z" as "a" to "z"; every other character as it is.
template <Character Char>
constexpr Char toLower(Char c) noexcept {
    return c >= 'A' && c <= 'Z' ? static_cast<Char>(c - 'A' + 'a') : c;
}

/// True for "0" to "9", "a" to "f" and "A" to "F".
template <Character Char>
constexpr bool isHexDigit(Char c) noexcept {
    return isDigit(c) || (toLower(c) >= 'a' && toLower(c) <= 'f');
}

/// True for "a" to "z" and "A" to "Z".
template <Character Char>
constexpr bool isAlpha(Char c) noexcept {
    return toLower(c) >= 'a' && toLower(c) <= 'z';
}

/// True for letters and digits.
template <Character Char>
constexpr bool isAlphanumeric(Char c) noexcept {
    return isAlpha(c) || isDigit(c);
}

/// @{

/// True if two texts are equal when "A" to "Z" are taken for "a" to "z". A narrow text beside a wide one must
/// be ASCII; otherwise they are not equal.
constexpr bool equalsNoCase(std::string_view left, std::string_view right) noexcept {
    return std::equal(left.begin(), left.end(), right.begin(), right.end(),
                      [](char a, char b) { return toLower(a) == toLower(b); });
}
constexpr bool equalsNoCase(std::wstring_view left, std::wstring_view right) noexcept {
    return std::equal(left.begin(), left.end(), right.begin(), right.end(),
                      [](wchar_t a, wchar_t b) { return toLower(a) == toLower(b); });
}
constexpr bool equalsNoCase(std::wstring_view left, std::string_view right) noexcept {
    return std::equal(left.begin(), left.end(), right.begin(), right.end(), [](wchar_t a, char b) {
        return isASCII(b) && toLower(a) == static_cast<wchar_t>(toLower(b));
    });
}
/// @}

/// @{

/// True if a text begins with another one, compared as by equalsNoCase(). Every text begins with "".
constexpr bool startsWithNoCase(std::string_view text, std::string_view start) noexcept {
    return equalsNoCase(text.substr(0, start.size()), start);
}
constexpr bool startsWithNoCase(std::wstring_view text, std::wstring_view start) noexcept {
    return equalsNoCase(text.substr(0, start.size()), start);
}
constexpr bool startsWithNoCase(std::wstring_view text, std::string_view start) noexcept {
    return equalsNoCase(text.substr(0, start.size()), start);
}
/// @}

}  // namespace zet

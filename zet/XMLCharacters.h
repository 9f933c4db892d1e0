/// \file
/// Characters that XML 1.0 can carry. Any thread.
#pragma once

#include <cstddef>
#include <string_view>

namespace zet {

/// True for a character that XML 1.0 allows (2.2): not for control characters except tab, line feed and
/// carriage return, nor for surrogates, U+FFFE, U+FFFF and numbers above U+10FFFF.
[[nodiscard]] constexpr bool isXMLCharacter(char32_t character) noexcept {
    if (character < 0x20) {
        return character == '\t' || character == '\n' || character == '\r';
    }
    return character < 0xD800 || (character > 0xDFFF && character < 0xFFFE) ||
           (character > 0xFFFF && character <= 0x10FFFF);
}

/// The same for a character of a text. If `wchar_t` has 16 bits, both halves of a surrogate pair are allowed.
/// \param index  less than the length of the text
[[nodiscard]] constexpr bool isXMLCharacter(std::wstring_view text, std::size_t index) noexcept {
    if (isXMLCharacter(static_cast<char32_t>(text[index]))) {
        return true;
    }
    if constexpr (sizeof(wchar_t) > 2) {
        return false;
    }
    const auto isHigh = [text](std::size_t i) {
        return i < text.size() && text[i] >= 0xD800 && text[i] <= 0xDBFF;
    };
    const auto isLow = [text](std::size_t i) {
        return i < text.size() && text[i] >= 0xDC00 && text[i] <= 0xDFFF;
    };
    return (isHigh(index) && isLow(index + 1)) || (isLow(index) && index > 0 && isHigh(index - 1));
}

}  // namespace zet

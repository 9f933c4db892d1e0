#pragma once

#include "vexil/BaseTypes.h"
#include "zet/ASCII.h"

#include <string>

namespace vexil {

/// The value of a hexadecimal digit; -1 for any other character.
template <zet::Character Char>
constexpr int getHexDigitValue(Char c) noexcept {
    if (!zet::isHexDigit(c)) {
        return -1;
    }
    return zet::isDigit(c) ? c - '0' : zet::toLower(c) - 'a' + 10;
}

/// Two digits in lower case for each byte.
inline std::string makeHexText(const TBuffer<unsigned char>& bytes) {
    static constexpr char digits[] = "0123456789abcdef";
    std::string text(2 * static_cast<std::size_t>(bytes.getUsed()), '\0');
    char* next = text.data();
    for (int i = 0; i < bytes.getUsed(); ++i) {
        const unsigned char byte = bytes.getData()[i];
        *next++ = digits[byte >> 4];
        *next++ = digits[byte & 0xF];
    }
    return text;
}

}  // namespace vexil

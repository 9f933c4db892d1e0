#pragma once

#include "zet/ASCII.h"

namespace vexil {

/// The value of a hexadecimal digit; -1 for any other character.
template <zet::Character Char>
constexpr int getHexDigitValue(Char c) noexcept {
    if (!zet::isHexDigit(c)) {
        return -1;
    }
    return zet::isDigit(c) ? c - '0' : zet::toLower(c) - 'a' + 10;
}

}  // namespace vexil

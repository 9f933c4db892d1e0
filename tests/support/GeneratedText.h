/// \file
/// Shared by the programs that write generated texts for a reader in another language.
#pragma once

#include <string>
#include <string_view>

namespace vexil_test {

/// A space and the bytes in hexadecimal digits.
inline std::string hex(std::string_view bytes) {
    static constexpr char digits[] = "0123456789abcdef";
    std::string text = " ";
    for (const char byte : bytes) {
        const auto value = static_cast<unsigned char>(byte);
        text += {digits[value >> 4], digits[value & 0xF]};
    }
    return text;
}

/// Appends a code point in UTF-8. Half a surrogate pair is written like any other.
inline void appendUTF8(std::string& text, unsigned int c) {
    const auto add = [&](unsigned int byte) { text += static_cast<char>(byte); };
    if (c < 0x80) {
        add(c);
    } else if (c < 0x800) {
        add(0xC0 | c >> 6);
        add(0x80 | (c & 0x3F));
    } else if (c < 0x10000) {
        add(0xE0 | c >> 12);
        add(0x80 | (c >> 6 & 0x3F));
        add(0x80 | (c & 0x3F));
    } else {
        add(0xF0 | c >> 18);
        add(0x80 | (c >> 12 & 0x3F));
        add(0x80 | (c >> 6 & 0x3F));
        add(0x80 | (c & 0x3F));
    }
}

}  // namespace vexil_test

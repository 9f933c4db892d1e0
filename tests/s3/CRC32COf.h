#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <string_view>

namespace vexil_test {

/// The bytes of the CRC32C, the most significant first, independent of the tested code.
inline std::string crc32c(std::string_view bytes) {
    static const auto table = [] {
        std::array<std::uint32_t, 256> values{};
        for (std::uint32_t i = 0; i < values.size(); ++i) {
            values[i] = i;
            for (int bit = 0; bit < 8; ++bit) {
                values[i] = (values[i] >> 1) ^ ((values[i] & 1U) != 0 ? 0x82F63B78U : 0U);
            }
        }
        return values;
    }();
    const std::uint32_t* const values = table.data();
    std::uint32_t crc = 0xFFFFFFFFU;
    const char* const end = bytes.data() + bytes.size();
    for (const char* next = bytes.data(); next != end; ++next) {
        crc = (crc >> 8) ^ values[(crc ^ static_cast<unsigned char>(*next)) & 0xFFU];
    }
    crc = ~crc;
    std::string text;
    for (const int shift : {24, 16, 8, 0}) {
        text += static_cast<char>((crc >> shift) & 0xFFU);
    }
    return text;
}

}  // namespace vexil_test

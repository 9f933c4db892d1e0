#include "sigil/Hex.h"

#include "sigil/CheckedLength.h"

#include <string>

namespace sigil {

zet::String hexEncode(const void* data, int length) {
    static constexpr char digits[] = "0123456789abcdef";
    const std::size_t size = checkedLength("hexEncode", length);
    const auto* const bytes = static_cast<const unsigned char*>(data);
    std::string text(2 * size, '\0');
    for (std::size_t i = 0; i < size; ++i) {
        text[2 * i] = digits[bytes[i] >> 4];
        text[2 * i + 1] = digits[bytes[i] & 0xF];
    }
    return zet::String::fromLatin1(text);
}

zet::String hexEncode(const zet::TBuffer<unsigned char>& data) {
    return hexEncode(data.getData(), data.getUsed());
}

}  // namespace sigil

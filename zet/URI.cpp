#include "zet/URI.h"

#include <string_view>

namespace zet {

namespace {

constexpr bool isUnreserved(unsigned char c) noexcept {
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') ||
           std::string_view("-._~").find(static_cast<char>(c)) != std::string_view::npos;
}

bool isKept(unsigned char c, const String& keptCharacters) noexcept {
    return isUnreserved(c) || (c < 0x80 && keptCharacters.find(static_cast<wchar_t>(c)) != String::npos);
}

}  // namespace

String CURI::escape(const String& text, bool useUpperCase, const String& keptCharacters) {
    const char* digits = useUpperCase ? "0123456789ABCDEF" : "0123456789abcdef";
    std::string escaped;
    for (const char byte : text.toUTF8()) {
        const auto c = static_cast<unsigned char>(byte);
        if (isKept(c, keptCharacters)) {
            escaped += byte;
        } else {
            escaped += '%';
            escaped += digits[c >> 4];
            escaped += digits[c & 0xF];
        }
    }
    return String::fromUTF8(escaped);
}

}  // namespace zet

#include "zet/URI.h"

#include "zet/ASCII.h"

#include <string_view>

namespace zet {

namespace {

constexpr bool isUnreserved(char c) noexcept {
    return isAlphanumeric(c) || std::string_view("-._~").find(c) != std::string_view::npos;
}

bool isKept(char c, const String& keptCharacters) noexcept {
    return isUnreserved(c) || (isASCII(c) && keptCharacters.find(static_cast<wchar_t>(c)) != String::npos);
}

}  // namespace

String CURI::escape(const String& text, bool useUpperCase, const String& keptCharacters) {
    const char* digits = useUpperCase ? "0123456789ABCDEF" : "0123456789abcdef";
    std::string escaped;
    for (const char byte : text.toUTF8()) {
        if (isKept(byte, keptCharacters)) {
            escaped += byte;
        } else {
            const auto c = static_cast<unsigned char>(byte);
            escaped += '%';
            escaped += digits[c >> 4];
            escaped += digits[c & 0xF];
        }
    }
    return String::fromUTF8(escaped);
}

}  // namespace zet

#include "vexil/net/URLEncoding.h"

#include "zet/URI.h"

#include <algorithm>
#include <string>
#include <string_view>

namespace vexil {

namespace {

constexpr int notADigit = -1;

int valueOf(char hexDigit) noexcept {
    if (hexDigit >= '0' && hexDigit <= '9') {
        return hexDigit - '0';
    }
    if (hexDigit >= 'a' && hexDigit <= 'f') {
        return hexDigit - 'a' + 10;
    }
    if (hexDigit >= 'A' && hexDigit <= 'F') {
        return hexDigit - 'A' + 10;
    }
    return notADigit;
}

/// Decodes "%" and two digits at the beginning of a text.
int decodeByte(std::string_view text) noexcept {
    if (text.size() < 3 || text[0] != '%') {
        return notADigit;
    }
    const int high = valueOf(text[1]);
    const int low = valueOf(text[2]);
    return high == notADigit || low == notADigit ? notADigit : high * 16 + low;
}

}  // namespace

String urlEscape(const String& text, bool spaceAsPlus) {
    String escaped = zet::CURI::escape(text, false);
    if (spaceAsPlus) {
        escaped.replaceAll("%20", "+");
    }
    return escaped;
}

String urlUnescape(const String& text, bool plusAsSpace) {
    const std::string utf8 = text.toUTF8();
    std::string bytes;
    bytes.reserve(utf8.size());
    for (std::size_t i = 0; i < utf8.size(); ++i) {
        if (const int byte = decodeByte(std::string_view(utf8).substr(i)); byte != notADigit) {
            bytes += static_cast<char>(byte);
            i += 2;
        } else {
            bytes += utf8[i] == '+' && plusAsSpace ? ' ' : utf8[i];
        }
    }
    return String::fromUTF8Lossy(bytes);
}

String formURLEncode(const String& text, bool useUpperCase) {
    String encoded = zet::CURI::escape(text, useUpperCase, "");
    encoded.replaceAll("%20", "+");
    return encoded;
}

String formURLEncode(const std::map<String, String>& fields, bool useUpperCase) {
    String form;
    for (const auto& [name, value] : fields) {
        form += form.isEmpty() ? "" : "&";
        form += formURLEncode(name, useUpperCase) + "=" + formURLEncode(value, useUpperCase);
    }
    return form;
}

String formURLEncode(const CProps& props, bool useUpperCase) {
    return formURLEncode(props.getMap(), useUpperCase);
}

String encodeURLParams(const TMap<String, String>& params) {
    String query;
    for (const auto& [name, value] : params) {
        query += query.isEmpty() ? "" : "&";
        query += urlEscape(name, true) + "=" + urlEscape(value, true);
    }
    return query;
}

void decodeURLParams(const String& query, TMap<String, String>& params) {
    if (query.isEmpty()) {
        return;
    }
    std::size_t begin = 0;
    for (std::size_t end = 0; end != String::npos; begin = end + 1) {
        end = query.find(L'&', begin);
        const String piece = query.substr(begin, end == String::npos ? end : end - begin);
        const std::size_t equals = std::min(piece.find(L'='), piece.length());
        params[urlUnescape(piece.substr(0, equals), true)] = urlUnescape(piece.substr(equals + 1), true);
    }
}

}  // namespace vexil

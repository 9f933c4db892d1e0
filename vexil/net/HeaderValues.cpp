#include "vexil/net/HeaderValues.h"

#include <curl/curl.h>

#include <algorithm>
#include <limits>

namespace vexil {

namespace {

/// Removes one parameter from the front. False if no further one can be read.
bool takeParameter(String& rest, TMap<String, String>& params) {
    const std::size_t equals = rest.find(L'=');
    if (equals == String::npos) {
        return false;
    }
    const String name = rest.substr(0, equals).trimmed().toLower();
    const String quoted = rest.substr(equals + 1).trimmed();
    const std::size_t end = quoted.find(L'"', 1);
    if (!quoted.startsWith("\"") || end == String::npos) {
        return false;
    }
    params[name] = quoted.substr(1, end - 1);
    rest = quoted.substr(end + 1).trimmed();
    if (!rest.startsWith(";")) {
        return false;
    }
    rest = rest.substr(1);
    return true;
}

bool isForbiddenInAddress(wchar_t c) {
    return c < L' ' || c == L' ' || c == L'"' || c == L'<' || c == L'>';
}

}  // namespace

String parseContentDispositionHeader(const String& value, TMap<String, String>& params) {
    const std::size_t semicolon = std::min(value.find(L';'), value.length());
    String rest = value.substr(semicolon + 1);
    while (takeParameter(rest, params)) {
    }
    return value.substr(0, semicolon).trimmed().toLower();
}

zet::CTime parseTimestamp(const String& text) {
    // libcurl would read only the part before a NUL.
    const bool hasNUL = text.find(L'\0') != String::npos;
    const int64 seconds = hasNUL ? -1 : int64{curl_getdate(text.toUTF8().c_str(), nullptr)};
    if (seconds == -1 || seconds == std::numeric_limits<int64>::max()) {
        throw CError("Error parsing timestamp '" + text + "'.");
    }
    return zet::CTime::fromCTime(seconds);
}

bool isValidEmailAddress(const String& address) {
    const std::wstring_view text = address.view();
    const std::size_t at = text.find(L'@');
    return std::none_of(text.begin(), text.end(), isForbiddenInAddress) && at != text.npos && at > 0 &&
           text.find(L'@', at + 1) == text.npos && text.find(L'.', at + 1) != text.npos;
}

}  // namespace vexil

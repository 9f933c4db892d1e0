#include "apps/vexil/base/HostAndPort.h"

#include "apps/vexil/base/Text.h"
#include "vexil/net/URLRedaction.h"
#include "zet/ParseNumber.h"

#include <algorithm>
#include <cstdint>
#include <string_view>

namespace vexil::app {

namespace {

constexpr int64 maxPort = 65535;

bool isDigit(wchar_t c) {
    return c >= L'0' && c <= L'9';
}

// libcurl judges letters beyond ASCII. Characters that could end the host within a URL are refused.
bool belongsToName(wchar_t c) {
    return isDigit(c) || (c >= L'a' && c <= L'z') || (c >= L'A' && c <= L'Z') || c == L'-' || c == L'.' ||
           c == L'_' || static_cast<std::uint32_t>(c) >= 160;
}

bool belongsToIPv6(wchar_t c) {
    return isDigit(c) || (c >= L'a' && c <= L'f') || (c >= L'A' && c <= L'F') || c == L':' || c == L'.';
}

bool isHost(std::wstring_view host) {
    const auto consistsOf = [](std::wstring_view text, bool (*belongs)(wchar_t)) {
        return !text.empty() && std::all_of(text.begin(), text.end(), belongs);
    };
    if (host.starts_with(L'[') && host.ends_with(L']')) {
        return consistsOf(host.substr(1, host.size() - 2), belongsToIPv6);
    }
    return consistsOf(host, belongsToName);
}

}  // namespace

CHostAndPort CHostAndPort::parse(const String& text) {
    const std::size_t colon = text.findLast(L':');
    const std::size_t bracket = text.findLast(L']');
    const bool hasPort = colon != String::npos && (bracket == String::npos || bracket < colon);
    CHostAndPort result{hasPort ? text.substr(0, colon) : text, 0};
    bool isValid = isHost(result.host.view());
    if (hasPort) {
        const String digits = text.substr(colon + 1);
        const int64 port = std::all_of(digits.view().begin(), digits.view().end(), isDigit)
                               ? zet::parseInt64(digits, int64(0))
                               : 0;
        isValid = isValid && port > 0 && port <= maxPort;
        result.port = isValid ? static_cast<int>(port) : 0;
    }
    if (!isValid) {
        throw CInvalidArgError("CHostAndPort::parse",
                               "'" + printable(redactURL(text)) +
                                   "' is not a server: write HOST or HOST:PORT, such as "
                                   "mail.example.com:587 or [::1]:25");
    }
    return result;
}

}  // namespace vexil::app

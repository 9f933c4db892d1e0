#include "vexil/net/ServerAddress.h"

#include "vexil/net/URLRedaction.h"
#include "zet/ASCII.h"
#include "zet/DisplayText.h"
#include "zet/ParseNumber.h"

#include <algorithm>
#include <cstdint>

namespace vexil {

namespace {

constexpr int64 maxPort = 65535;
constexpr std::uint32_t firstLetterBeyondLatinControls = 0xA0;

// libcurl judges letters beyond ASCII. Characters that could end the host within a URL are refused.
bool belongsToName(wchar_t c) {
    return zet::isAlphanumeric(c) || c == L'-' || c == L'.' || c == L'_' ||
           static_cast<std::uint32_t>(c) >= firstLetterBeyondLatinControls;
}

bool belongsToIPv6(wchar_t c) {
    return zet::isHexDigit(c) || c == L':' || c == L'.';
}

bool consistsOf(std::wstring_view text, bool (*belongs)(wchar_t)) {
    return !text.empty() && std::all_of(text.begin(), text.end(), belongs);
}

bool isIPv6(std::wstring_view text) {
    return consistsOf(text, belongsToIPv6) && std::count(text.begin(), text.end(), L':') >= 2;
}

[[noreturn]] void refuse(const char* place, const String& url, const String& why) {
    throw CInvalidArgError(place, "'" + zet::toDisplayText(redactURL(url)) + "': the URL " + why);
}

int readPort(const char* place, const String& url, const String& digits) {
    const bool isNumber = consistsOf(digits.view(), [](wchar_t c) { return zet::isDigit(c); });
    const int64 port = isNumber ? zet::parseInt64(digits, 0) : 0;
    if (port < 1 || port > maxPort) {
        refuse(place, url, "must have a port from 1 to 65535, or none");
    }
    return static_cast<int>(port);
}

/// Without the "/" at the end.
String findAuthority(const char* place, const String& url, std::size_t begin) {
    const std::wstring_view rest = url.view().substr(begin);
    if (rest.find(L'@') != rest.npos) {
        refuse(place, url, "must not contain a login: give user name and password apart");
    }
    const std::size_t end = rest.find_first_of(L"/?#");
    if (end != rest.npos && rest.substr(end) != L"/") {
        refuse(place, url, "must end after the host or the port");
    }
    return url.substr(begin, end == rest.npos ? String::npos : end);
}

}  // namespace

CServerAddress parseServerURL(const char* place, const String& url, std::string_view scheme,
                              std::string_view secure) {
    const std::size_t colon = url.find("://");
    CServerAddress address{url.substr(0, colon).toLower(), String(), 0};
    if (colon == String::npos || (address.scheme != scheme && address.scheme != secure)) {
        refuse(place, url, "must begin with " + String(scheme) + ":// or " + String(secure) + "://");
    }
    const String authority = findAuthority(place, url, colon + 3);
    const std::size_t portColon = authority.findLast(L':');
    const std::size_t bracket = authority.findLast(L']');
    const bool hasPort = portColon != String::npos && (bracket == String::npos || bracket < portColon);
    const String host = hasPort ? authority.substr(0, portColon) : authority;
    const std::wstring_view name = host.view();
    const bool isBracketed = name.size() > 2 && name.front() == L'[' && name.back() == L']';
    if (isBracketed ? !isIPv6(name.substr(1, name.size() - 2)) : !consistsOf(name, belongsToName)) {
        refuse(place, url, "must contain a host name or an address, with IPv6 in brackets");
    }
    address.host = host;
    address.port = hasPort ? readPort(place, url, authority.substr(portColon + 1)) : 0;
    return address;
}

String checkHost(const char* place, const String& host) {
    const std::wstring_view name = host.view();
    const bool isBracketed = name.size() > 2 && name.front() == L'[' && name.back() == L']';
    const std::wstring_view address = isBracketed ? name.substr(1, name.size() - 2) : name;
    if (isIPv6(address)) {
        return "[" + String(std::wstring(address)) + "]";
    }
    if (isBracketed || !consistsOf(name, belongsToName)) {
        throw CInvalidArgError(place, "'" + zet::toDisplayText(redactURL(host)) +
                                          "': the host must be a name or an address, without a port");
    }
    return host;
}

int checkPort(const char* place, int64 port) {
    if (port < 1 || port > maxPort) {
        throw CInvalidArgError(place, "the port must be from 1 to 65535, not " + String::fromInt(port));
    }
    return static_cast<int>(port);
}

String joinHostAndPort(const CServerAddress& address) {
    return address.port > 0 ? address.host + ":" + String::fromInt(address.port) : address.host;
}

}  // namespace vexil

#include "vexil/proxy/ProxyPattern.h"

#include "vexil/net/CurlHandles.h"
#include "vexil/net/GlobalInit.h"
#include "vexil/net/Sockets.h"
#include "zet/ASCII.h"

#include <curl/curl.h>

#include <algorithm>
#include <charconv>
#include <memory>
#include <new>
#include <string_view>

namespace vexil {

namespace {

constexpr int maxPort = 65535;
constexpr int bitsPerByte = 8;

String getPart(CURLU* url, CURLUPart part, unsigned int flags) {
    char* text = nullptr;
    return curl_url_get(url, part, &text, flags) == CURLUE_OK
               ? String::fromUTF8Lossy(CurlString(text).get()).toLower()
               : String();
}

/// -1 for another text than a number from 0 to the maximum.
int parseNumber(std::wstring_view text, int maximum) {
    const std::string digits(text.begin(), text.end());
    int number = -1;
    const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), number);
    const bool isNumber = error == std::errc() && end == digits.data() + digits.size() &&
                          std::all_of(text.begin(), text.end(), zet::isDigit<wchar_t>);
    return isNumber && number <= maximum ? number : -1;
}

/// 4 or 16 bytes; "" for another text.
std::string parseAddress(std::wstring_view text) {
    static constexpr std::string_view mapped("\0\0\0\0\0\0\0\0\0\0\xFF\xFF", 12);
    const std::string bytes = parseIPAddress(String(text).toUTF8());
    return bytes.starts_with(mapped) ? bytes.substr(mapped.size()) : bytes;
}

std::wstring_view withoutBrackets(std::wstring_view host) {
    return host.size() > 1 && host.front() == L'[' && host.back() == L']' ? host.substr(1, host.size() - 2)
                                                                          : host;
}

std::wstring_view withoutLastDot(std::wstring_view host) {
    return host.size() > 1 && host.back() == L'.' ? host.substr(0, host.size() - 1) : host;
}

/// "*" stands for any characters.
bool matchesWildcard(std::wstring_view pattern, std::wstring_view text) {
    std::size_t inPattern = 0;
    std::size_t inText = 0;
    std::size_t star = pattern.npos;
    std::size_t afterStar = 0;
    while (inText < text.size()) {
        if (inPattern < pattern.size() && pattern[inPattern] == L'*') {
            star = inPattern++;
            afterStar = inText;
        } else if (inPattern < pattern.size() && pattern[inPattern] == text[inText]) {
            ++inPattern;
            ++inText;
        } else if (star != pattern.npos) {
            // The last star stands for one character more.
            inPattern = star + 1;
            inText = ++afterStar;
        } else {
            return false;
        }
    }
    return pattern.find_first_not_of(L'*', inPattern) == pattern.npos;
}

}  // namespace

CProxyPattern::CTarget CProxyPattern::parseURL(const String& url) {
    CGlobalInit::get();
    const CurlURL parts(curl_url());
    if (!parts) {
        throw std::bad_alloc();
    }
    constexpr unsigned int flags = CURLU_GUESS_SCHEME | CURLU_NON_SUPPORT_SCHEME | CURLU_PATH_AS_IS;
    CTarget target;
    if (curl_url_set(parts.get(), CURLUPART_URL, url.toUTF8().c_str(), flags) != CURLUE_OK) {
        return target;
    }
    const String host = getPart(parts.get(), CURLUPART_HOST, 0);
    target.scheme = getPart(parts.get(), CURLUPART_SCHEME, 0);
    target.host = String(withoutLastDot(withoutBrackets(host.view())));
    target.address = parseAddress(target.host.view());
    target.port =
        std::max(parseNumber(getPart(parts.get(), CURLUPART_PORT, CURLU_DEFAULT_PORT).view(), maxPort), 0);
    return target;
}

CProxyPattern::CProxyPattern(const String& text) : m_text(text) {
    setHost(takePort(takeScheme(zet::trimmed(text.view()))));
}

void CProxyPattern::fail(const String& reason) const {
    throw CInvalidArgError("CProxyPattern", "the pattern '" + m_text + "' " + reason);
}

std::wstring_view CProxyPattern::takeScheme(std::wstring_view rest) {
    static constexpr std::wstring_view separator = L"://";
    const std::size_t end = rest.find(separator);
    if (end == rest.npos) {
        return rest;
    }
    const std::wstring_view scheme = rest.substr(0, end);
    if (scheme.empty() || !std::all_of(scheme.begin(), scheme.end(), [](wchar_t c) {
            return zet::isAlphanumeric(c) || c == L'+' || c == L'-' || c == L'.';
        })) {
        fail("has no scheme before '://'");
    }
    m_scheme = String(scheme).toLower();
    return rest.substr(end + separator.size());
}

std::wstring_view CProxyPattern::takePort(std::wstring_view rest) {
    const std::size_t colon = rest.rfind(L':');
    // An IPv6 address has a port only after brackets.
    const bool isAddress = colon != rest.npos && rest.find(L':') != colon && rest.front() != L'[';
    const std::size_t bracket = rest.rfind(L']');
    if (colon == rest.npos || isAddress || (bracket != rest.npos && bracket > colon)) {
        return rest;
    }
    m_port = parseNumber(rest.substr(colon + 1), maxPort);
    if (m_port < 1) {
        fail("has a port that is not a number from 1 to 65535");
    }
    return rest.substr(0, colon);
}

void CProxyPattern::setHost(std::wstring_view host) {
    if (host == L"<local>") {
        m_kind = Kind::Local;
        return;
    }
    if (host.empty() || host == L".") {
        fail("has no host");
    }
    if (const std::size_t slash = host.find(L'/'); slash != host.npos) {
        setNetwork(withoutBrackets(host.substr(0, slash)), host.substr(slash + 1));
        return;
    }
    const std::wstring_view name = withoutBrackets(host);
    if (const std::string address = parseAddress(name); !address.empty()) {
        m_kind = Kind::Network;
        m_address = address;
        m_bits = static_cast<int>(address.size()) * bitsPerByte;
        return;
    }
    const bool isBad = host.find_first_of(L"@?#\\<>[]: \t\r\n") != host.npos;
    if (isBad) {
        fail("has a host with a character that hosts do not have");
    }
    m_kind = name.find(L'*') != name.npos ? Kind::Wildcard : name.front() == L'.' ? Kind::Domain : Kind::Name;
    m_host = String(withoutLastDot(name)).toLower();
}

void CProxyPattern::setNetwork(std::wstring_view address, std::wstring_view bits) {
    m_kind = Kind::Network;
    const std::string own = parseIPAddress(String(address).toUTF8());
    m_address = parseAddress(address);
    // A network of IPv4 addresses that are written as IPv6 addresses.
    const int mappedBits = static_cast<int>(own.size() - m_address.size()) * bitsPerByte;
    m_bits = parseNumber(bits, static_cast<int>(own.size()) * bitsPerByte) - mappedBits;
    if (own.empty() || m_bits < 0) {
        fail("is not a network: write it as 10.0.0.0/8 or fd00::/8");
    }
}

bool CProxyPattern::isInNetwork(const std::string& address) const {
    if (address.size() != m_address.size()) {
        return false;
    }
    const auto whole = static_cast<std::size_t>(m_bits / bitsPerByte);
    if (address.compare(0, whole, m_address, 0, whole) != 0) {
        return false;
    }
    const int rest = m_bits % bitsPerByte;
    const auto shifted = [&](const std::string& bytes) {
        return static_cast<unsigned char>(bytes[whole]) >> (bitsPerByte - rest);
    };
    return rest == 0 || shifted(address) == shifted(m_address);
}

bool CProxyPattern::matches(const CTarget& target) const {
    if (target.host.isEmpty() || (!m_scheme.isEmpty() && m_scheme != target.scheme) ||
        (m_port != 0 && m_port != target.port)) {
        return false;
    }
    const std::wstring_view host = target.host.view();
    switch (m_kind) {
    case Kind::Name:
        return target.host == m_host;
    case Kind::Domain:
        return host == m_host.view().substr(1) || host.ends_with(m_host.view());
    case Kind::Wildcard:
        return matchesWildcard(m_host.view(), host);
    case Kind::Local:
        return target.address.empty() && host.find(L'.') == host.npos;
    case Kind::Network:
        return isInNetwork(target.address);
    }
    return false;
}

}  // namespace vexil

#include "vexil/s3/S3URL.h"

#include "vexil/net/CurlHandles.h"
#include "vexil/net/GlobalInit.h"
#include "vexil/s3/S3HexDigit.h"
#include "zet/ASCII.h"

#include <curl/curl.h>

#include <algorithm>
#include <memory>
#include <new>

namespace vexil {

namespace {

std::string getPart(CURLU* url, CURLUPart part, unsigned int flags) {
    char* text = nullptr;
    return curl_url_get(url, part, &text, flags) == CURLUE_OK ? CurlString(text).get() : std::string();
}

[[noreturn]] void throwInvalid(const String& url) {
    throw CError("Invalid Amazon S3 query URL: '" + url + "'.");
}

/// Host and port by libcurl, which also brings unusual addresses into one form.
std::string findHost(const String& url) {
    CGlobalInit::get();
    const CurlURL parts(curl_url());
    if (!parts) {
        throw std::bad_alloc();
    }
    if (curl_url_set(parts.get(), CURLUPART_URL, url.toUTF8().c_str(), CURLU_PATH_AS_IS) != CURLUE_OK) {
        throwInvalid(url);
    }
    const std::string port = getPart(parts.get(), CURLUPART_PORT, CURLU_NO_DEFAULT_PORT);
    return getPart(parts.get(), CURLUPART_HOST, 0) + (port.empty() ? "" : ":" + port);
}

// Reading a URL by libcurl takes longer than all else of a signature except its hashes. Nearly all addresses
// already have the form that it would give them.

/// A text without characters that libcurl refuses or decodes anywhere in a URL.
bool isUsual(std::wstring_view url) {
    static constexpr std::size_t longest = 64 * 1024;
    return url.size() <= longest &&
           std::all_of(url.begin(), url.end(), [](wchar_t c) { return c > L' ' && c < L'\x7F'; });
}

/// A number without zeros before it that is at most `largest`.
bool isUsualNumber(std::wstring_view text, int largest) {
    static constexpr std::size_t maxDigits = 5;
    if (text.empty() || text.size() > maxDigits || (text.size() > 1 && text.front() == L'0')) {
        return false;
    }
    int number = 0;
    for (const wchar_t c : text) {
        if (!zet::isDigit(c)) {
            return false;
        }
        number = 10 * number + (c - L'0');
    }
    return number <= largest;
}

/// A host name in lower case, or an IPv4 address. libcurl reads numbers such as "127.1" and "0x7f.0.0.1" as
/// addresses, too: those are left to it.
bool isUsualHost(std::wstring_view host) {
    int labels = 0;
    int numbers = 0;
    for (bool isLast = false; !isLast; ++labels) {
        const std::size_t end = std::min(host.find(L'.'), host.size());
        const std::wstring_view label = host.substr(0, end);
        const bool isText = std::all_of(label.begin(), label.end(), [](wchar_t c) {
            return (c >= L'a' && c <= L'z') || zet::isDigit(c) || c == L'-' || c == L'_';
        });
        isLast = end == host.size();
        if (label.empty() || !isText) {
            return false;
        }
        numbers += isUsualNumber(label, 255) ? 1 : 0;
        if (isLast && !zet::isDigit(label.front())) {
            return true;
        }
        host.remove_prefix(std::min(end + 1, host.size()));
    }
    return labels == 4 && numbers == 4;
}

/// \param authority  what is between "://" and the path
bool isUsualAuthority(std::wstring_view scheme, std::wstring_view authority) {
    const bool isSecure = scheme == L"https";
    if (!isSecure && scheme != L"http") {
        return false;
    }
    const std::size_t hostEnd = std::min(authority.find(L':'), authority.size());
    if (!isUsualHost(authority.substr(0, hostEnd))) {
        return false;
    }
    const std::wstring_view port = authority.substr(hostEnd);
    // libcurl leaves out the port that the scheme has by default.
    return port.empty() ||
           (isUsualNumber(port.substr(1), 65535) && port != L":0" && port != (isSecure ? L":443" : L":80"));
}

constexpr bool isUnreserved(char c) {
    return zet::isAlphanumeric(c) || c == '-' || c == '.' || c == '_' || c == '~';
}

}  // namespace

CS3URL CS3URL::parse(const String& url) {
    static constexpr std::wstring_view separator = L"://";
    const std::wstring_view text = url.view();
    const std::size_t schemeEnd = text.find(separator);
    if (schemeEnd == std::wstring_view::npos) {
        throwInvalid(url);
    }
    const std::wstring_view afterScheme = text.substr(schemeEnd + separator.size());
    const auto authorityEnd = std::find_if(afterScheme.begin(), afterScheme.end(),
                                           [](wchar_t c) { return c == L'/' || c == L'?' || c == L'#'; });
    const auto authoritySize = static_cast<std::size_t>(authorityEnd - afterScheme.begin());
    const std::wstring_view authority = afterScheme.substr(0, authoritySize);
    CS3URL result;
    result.scheme.assign(text.substr(0, schemeEnd));
    if (isUsual(text) && isUsualAuthority(text.substr(0, schemeEnd), authority)) {
        result.host.assign(authority);
    } else {
        result.scheme.makeLower();
        result.host = findHost(url);
    }
    // Path and query from the text, which is sent unchanged.
    const std::wstring_view rest = afterScheme.substr(authoritySize);
    const std::wstring_view sent = rest.substr(0, rest.find(L'#'));
    const std::size_t question = sent.find(L'?');
    const std::wstring_view path = sent.substr(0, question);
    result.path = path.empty() ? String("/") : String(path);
    result.query = question == std::wstring_view::npos ? String() : String(sent.substr(question + 1));
    return result;
}

String CS3URL::toText() const {
    return scheme + "://" + host + path + (query.isEmpty() ? String() : "?" + query);
}

std::string encodePercent(std::string_view bytes, bool keepSlash) {
    static constexpr char digits[] = "0123456789ABCDEF";
    std::string text;
    text.reserve(bytes.size());
    for (const char c : bytes) {
        if (isUnreserved(c) || (keepSlash && c == '/')) {
            text += c;
        } else {
            const auto byte = static_cast<unsigned char>(c);
            text += '%';
            text += digits[byte >> 4];
            text += digits[byte & 0xF];
        }
    }
    return text;
}

String escapeText(const String& text, bool keepSlash) {
    return String::fromLatin1(encodePercent(text.toUTF8(), keepSlash));
}

std::string decodePercent(std::string_view text) {
    std::string bytes;
    bytes.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        const bool hasDigits = text[i] == '%' && i + 2 < text.size();
        const int high = hasDigits ? getHexDigitValue(text[i + 1]) : -1;
        const int low = hasDigits ? getHexDigitValue(text[i + 2]) : -1;
        if (high < 0 || low < 0) {
            bytes += text[i];
        } else {
            bytes += static_cast<char>(high * 16 + low);
            i += 2;
        }
    }
    return bytes;
}

}  // namespace vexil

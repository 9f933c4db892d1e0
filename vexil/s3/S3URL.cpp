#include "vexil/s3/S3URL.h"

#include "vexil/net/CurlHandles.h"
#include "vexil/net/GlobalInit.h"
#include "vexil/s3/S3HexDigit.h"
#include "zet/ASCII.h"

#include <curl/curl.h>

#include <memory>
#include <new>

namespace vexil {

namespace {

struct CurlURLDeleter {
    void operator()(CURLU* url) const noexcept { curl_url_cleanup(url); }
};
using CurlURL = std::unique_ptr<CURLU, CurlURLDeleter>;

std::string getPart(CURLU* url, CURLUPart part, unsigned int flags) {
    char* text = nullptr;
    return curl_url_get(url, part, &text, flags) == CURLUE_OK ? CurlString(text).get() : std::string();
}

constexpr bool isUnreserved(char c) {
    return zet::isAlphanumeric(c) || c == '-' || c == '.' || c == '_' || c == '~';
}

}  // namespace

CS3URL CS3URL::parse(const String& url) {
    CGlobalInit::get();
    const CurlURL parts(curl_url());
    if (!parts) {
        throw std::bad_alloc();
    }
    const std::size_t schemeEnd = url.find("://");
    // Scheme and host by libcurl, which also brings unusual addresses into one form.
    if (schemeEnd == String::npos ||
        curl_url_set(parts.get(), CURLUPART_URL, url.toUTF8().c_str(), CURLU_PATH_AS_IS) != CURLUE_OK) {
        throw CError("Invalid Amazon S3 query URL: '" + url + "'.");
    }
    CS3URL result;
    result.scheme = url.substr(0, schemeEnd).toLower();
    const std::string port = getPart(parts.get(), CURLUPART_PORT, CURLU_NO_DEFAULT_PORT);
    result.host = getPart(parts.get(), CURLUPART_HOST, 0) + (port.empty() ? "" : ":" + port);
    // Path and query from the text, which is sent unchanged.
    const std::wstring_view text = url.view();
    const std::size_t authorityEnd = text.find_first_of(L"/?#", schemeEnd + 3);
    const std::wstring_view rest = authorityEnd == std::wstring_view::npos ? L"" : text.substr(authorityEnd);
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

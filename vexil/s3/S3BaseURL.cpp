#include "vexil/s3/S3BaseURL.h"

#include "vexil/net/CurlHandles.h"
#include "vexil/net/GlobalInit.h"

#include <curl/curl.h>

#include <memory>
#include <new>

namespace vexil {

namespace {

std::string getPart(CURLU* url, CURLUPart part) {
    char* text = nullptr;
    if (curl_url_get(url, part, &text, 0) != CURLUE_OK) {
        return {};
    }
    return CurlString(text).get();
}

bool hasControlOrSpace(const String& text) {
    for (const wchar_t c : text.view()) {
        if (c <= L' ' || c == L'\x7f') {
            return true;
        }
    }
    return false;
}

}  // namespace

const char* findBaseURLFault(const String& url) {
    if (!url.startsWithNoCase("http://") && !url.startsWithNoCase("https://")) {
        return "base URL must begin with http:// or https://";
    }
    if (hasControlOrSpace(url)) {
        return "base URL must not contain spaces or control characters";
    }
    // Search the text: libcurl's parts do not show an empty query or fragment.
    if (url.find(L'?') != String::npos) {
        return "base URL must not contain a query";
    }
    if (url.find(L'#') != String::npos) {
        return "base URL must not contain a fragment";
    }
    // libcurl accepts a third slash, as in file URLs.
    if (url[url.find("://") + 3] == L'/') {
        return "base URL must contain a host";
    }
    CGlobalInit::get();
    const CurlURL parts(curl_url());
    if (!parts) {
        throw std::bad_alloc();
    }
    switch (curl_url_set(parts.get(), CURLUPART_URL, url.toUTF8().c_str(), CURLU_PATH_AS_IS)) {
    case CURLUE_OK:
        break;
    case CURLUE_NO_HOST:
        return "base URL must contain a host";
    case CURLUE_BAD_PORT_NUMBER:
        return "base URL contains an invalid port";
    default:
        return "base URL is malformed";
    }
    if (url.find(L'@') != String::npos) {
        return "base URL must not contain a user name";
    }
    if (getPart(parts.get(), CURLUPART_PATH) != "/") {
        return "base URL must not contain a path";
    }
    return nullptr;
}

}  // namespace vexil

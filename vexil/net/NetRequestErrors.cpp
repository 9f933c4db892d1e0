#include "vexil/net/CURLError.h"
#include "vexil/net/NetRequestParts.h"

#include <algorithm>

namespace vexil {

namespace {

constexpr int maxServerMessageBytes = 4096;

// Never destroyed: objects with static lifetime may use it while the process ends.
const String& nameContentType = *new String("content-type");

void replaceTags(String& text) {
    for (std::size_t start; (start = text.find(L'<')) != String::npos;) {
        const std::size_t end = std::min(text.find(L'>', start), text.length() - 1);
        text.replace(start, end - start + 1, " ");
    }
}

void replaceUntilNoneIsLeft(String& text, const String& from, const String& to) {
    while (text.find(from) != String::npos) {
        text.replaceAll(from, to);
    }
}

void convertHTMLToPlainText(String& text) {
    replaceTags(text);
    text.replaceAll("\r\n", "\n");
    text.replaceAll("\t", " ");
    text.trim();
    replaceUntilNoneIsLeft(text, "  ", " ");
    text.replaceAll(" \n", "\n");
    text.replaceAll("\n ", "\n");
    replaceUntilNoneIsLeft(text, "\n\n", "\n");
}

}  // namespace

String CNetRequest::getErrorMessage() const {
    return m_parts->curl.getErrorMessage();
}

String CNetRequestParts::getErrorDetail(CURLcode result) const {
    // libcurl's own text would name a callback.
    return watch.isCancelled() && result == CURLE_ABORTED_BY_CALLBACK ? String("transfer cancelled")
                                                                      : curl.getErrorMessage();
}

void CNetRequest::throwError(CURLcode code, const String& responseCodeDomain, int responseCode,
                             const String& errorDetail) {
    const String detail = errorDetail.isEmpty() ? getErrorMessage() : errorDetail;
    const bool isHTTP = responseCodeDomain == "http";
    throw CCURLError(code, detail, responseCodeDomain, responseCode,
                     getServerMessage(responseCodeDomain, responseCode),
                     isHTTP ? m_parts->responseHead.getStatusLine() : String(), getURL(),
                     isHTTP ? m_parts->httpMethod : String());
}

String CNetRequest::getServerMessage(const String& responseCodeDomain, int responseCode) {
    if (responseCodeDomain == "smtp" && responseCode >= 1) {
        return m_parts->responseHead.getLastLine();
    }
    const TBuffer<unsigned char>& body = *m_parts->responseBody.getBuffer();
    if (responseCodeDomain == "http" && body.getUsed() > 0) {
        return getServerErrorMessageFromResponseData(body.getData(), body.getUsed(), getResponseHeaderMap());
    }
    return String();
}

String CNetRequest::getServerErrorMessageFromResponseData(const unsigned char* data, int length,
                                                          const TMap<String, String>& headers) {
    try {
        const int used = std::clamp(length, 0, maxServerMessageBytes);
        String text = String::fromUTF8({reinterpret_cast<const char*>(data), static_cast<std::size_t>(used)});
        const auto contentType = headers.find(nameContentType);
        const bool isHTML = (contentType != headers.end() && contentType->second.startsWith("text/html")) ||
                            text.find("<html") != String::npos;
        if (isHTML) {
            convertHTMLToPlainText(text);
        }
        return text;
    } catch (const std::exception&) {
        return String();
    }
}

}  // namespace vexil

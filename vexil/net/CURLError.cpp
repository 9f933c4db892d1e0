#include "vexil/net/CURLError.h"

#include "vexil/net/TransferErrorKind.h"
#include "zet/ParseNumber.h"

namespace vexil {

namespace {

// Never destroyed: objects with static lifetime may fail while the process ends.
const String& keyResponseCodeDomain = *new String("responseCodeDomain");
const String& keyResponseCode = *new String("responseCode");

String textOr(const char* text, const char* fallback) {
    return String::fromUTF8Lossy(text ? text : fallback);
}

void appendDetail(String& text, const String& errorDetail) {
    if (!errorDetail.isEmpty()) {
        text += ": " + errorDetail;
    }
}

CProps makeProps(const String& responseCodeDomain, int responseCode, const String& serverMessage,
                 const String& httpStatusLine, const String& url, const String& httpMethod) {
    CProps props;
    props.addCond(!responseCodeDomain.isEmpty(), keyResponseCodeDomain, responseCodeDomain);
    props.addCond(responseCode > 0, keyResponseCode, String::fromInt(responseCode));
    props.addCond(!serverMessage.isEmpty(), "serverMessage", serverMessage);
    props.addCond(!httpStatusLine.isEmpty(), "httpStatusLine", httpStatusLine);
    props.addCond(!url.isEmpty(), "url", url);
    props.addCond(!httpMethod.isEmpty(), "httpMethod", httpMethod);
    return props;
}

}  // namespace

CCURLError::CCURLError(CURLcode code, const String& errorDetail, const String& responseCodeDomain,
                       int responseCode, const String& serverMessage, const String& httpStatusLine,
                       const String& url, const String& httpMethod)
    : CError(makeErrorText(code, errorDetail, responseCodeDomain, responseCode), "curl", code,
             makeProps(responseCodeDomain, responseCode, serverMessage, httpStatusLine, url, httpMethod)),
      m_responseCodeDomain(responseCodeDomain), m_responseCode(responseCode), m_serverMessage(serverMessage),
      m_httpStatusLine(httpStatusLine), m_url(url), m_httpMethod(httpMethod) {
    setKind(findTransferErrorKind(*this));
}

CCURLError::CCURLError(CURLMcode code, const String& errorDetail, const String& responseCodeDomain,
                       int responseCode, const String& serverMessage, const String& httpStatusLine,
                       const String& url, const String& httpMethod)
    : CError(makeErrorText(code, errorDetail, responseCode), "curlm", code,
             makeProps(responseCodeDomain, responseCode, serverMessage, httpStatusLine, url, httpMethod)),
      m_responseCodeDomain(responseCodeDomain), m_responseCode(responseCode), m_serverMessage(serverMessage),
      m_httpStatusLine(httpStatusLine), m_url(url), m_httpMethod(httpMethod) {
    setKind(findTransferErrorKind(*this));
}

CCURLError::~CCURLError() = default;

String CCURLError::makeErrorText(CURLcode code, const String& errorDetail, const String& responseCodeDomain,
                                 int responseCode) {
    String text = textOr(curl_easy_strerror(code), "invalid CURL easy error code");
    appendDetail(text, errorDetail);
    if (responseCode >= 1) {
        text += " (response code: " + responseCodeDomain + " " + String::fromInt(responseCode) + ")";
    }
    return text;
}

String CCURLError::makeErrorText(CURLMcode code, const String& errorDetail, int responseCode) {
    String text = textOr(curl_multi_strerror(code), "invalid CURL multi error code");
    appendDetail(text, errorDetail);
    if (responseCode >= 1) {
        text += " (response code: " + String::fromInt(responseCode) + ")";
    }
    return text;
}

int CCURLError::getResponseCode(const CProps& props) {
    const String value = props.lookup(keyResponseCode);
    return value.isEmpty() ? -1 : static_cast<int>(zet::parseInt64(value, 0));
}

String CCURLError::getResponseCodeDomain(const CProps& props) {
    return props.lookup(keyResponseCodeDomain);
}

P<CError> CCURLError::clone() const {
    return new CCURLError(*this);
}

void CCURLError::throwClone() const {
    throw CCURLError(*this);
}

}  // namespace vexil

#include "vexil/s3/S3Client.h"

#include "sigil/Base64.h"
#include "sigil/Digest.h"
#include "sigil/HMAC.h"
#include "vexil/net/LineEnd.h"
#include "vexil/net/RequestSetupCall.h"
#include "vexil/s3/S3BaseURL.h"
#include "vexil/s3/S3XmlReduction.h"
#include "zet/Thread.h"
#include "zet/TimeFields.h"

#include <algorithm>

namespace vexil {

namespace {

// Forces the constant into the DLL: on Windows, code that binds a reference to it imports it from there.
[[gnu::used]] const int64* const neededConstant = &CS3Client::maxPutSize;

constexpr char defaultHost[] = "s3.amazonaws.com";
constexpr char amzPrefix[] = "x-amz-";

}  // namespace

// ---- life and settings -----------------------------------------------------------------------------------

CS3Client::COwnDigest::COwnDigest() : m_digest(sigil::CDigestType_MD5().createDigest()) {}

CS3Client::CS3Client(const String& accessKeyId, const String& secretKey, bool secure)
    : m_baseURL(String(secure ? "https://" : "http://") + defaultHost + "/"), m_accessKeyId(accessKeyId),
      m_secretKey(secretKey), m_secretKeyUTF8(secretKey.toUTF8()) {}

CS3Client::~CS3Client() = default;

void CS3Client::setBaseURL(const String& url) {
    if (const char* fault = findBaseURLFault(url)) {
        throw CInvalidArgError("CS3Client::setBaseURL", fault);
    }
    m_baseURL = url.endsWith("/") ? url : url + "/";
}

zet::CTime CS3Client::getCurrentTime() const {
    return zet::CTime::now();
}

void CS3Client::waitBeforeRetry(int milliseconds) {
    zet::CThread::sleep(milliseconds);
}

// ---- beginning and end of a preparation ------------------------------------------------------------------

P<CNetHeaders> CS3Client::beginPrepareRequest(CNetRequest& request, const String& url) {
    request.reset();
    request.setURL(url);
    request.setFollowRedirects(true);
    request.setKeepPostOnRedirect(true);
    request.setVerbose(m_printDebugInfo);
    request.setSSLVerifyPeer(m_sslVerifyPeer);
    request.setReceiveBufferLimits(-1, maxErrorDocumentBytes);
    P<CNetHeaders> headers = new CNetHeaders;
    headers->add("Date",
                 zet::CTimeFields(getCurrentTime(), zet::CTimeFields::FieldTypeUTC).toInternetTimestamp());
    request.setCustomHTTPHeaders(headers);
    callRequestSetup(m_requestSetup, request, "CS3Client::setRequestSetup");
    return headers;
}

void CS3Client::finishPrepareRequest(CNetRequest& request) {
    signRequest(&request);
}

// ---- signature -------------------------------------------------------------------------------------------

void CS3Client::signRequest(CNetRequest* request) {
    if (hasLineEnd(m_accessKeyId)) {
        throw CInvalidArgError("CS3Client::signRequest", "access key id must not contain CR, LF or NUL");
    }
    P<CNetHeaders> headers = request->getCustomHTTPHeaders();
    const bool isNew = !headers;
    if (isNew) {
        headers = new CNetHeaders;
    }
    headers->add("Authorization", "AWS " + m_accessKeyId + ":" + getSignature(request));
    if (isNew) {
        request->setCustomHTTPHeaders(headers);
    }
}

String CS3Client::getSignature(CNetRequest* request) {
    const std::string text = getStringToSign(request).toUTF8();
    sigil::calcHMAC_SHA1(m_signature, text.data(), static_cast<int>(text.size()), m_secretKeyUTF8.data(),
                         static_cast<int>(m_secretKeyUTF8.size()));
    return sigil::base64Encode(m_signature.getData(), m_signature.getUsed(), true, false);
}

String CS3Client::getStringToSign(CNetRequest* request) {
    TMap<String, String> headers;
    if (const P<CNetHeaders> list = request->getCustomHTTPHeaders()) {
        list->fillMap(headers);
    }
    // An x-amz-date header replaces the Date header; this line then stays empty.
    const bool hasAMZDate = headers.contains("x-amz-date");
    return request->getHTTPMethod() + "\n" +                                     //
           getHeaderFromMap(headers, "content-md5") + "\n" +                     //
           getHeaderFromMap(headers, "content-type") + "\n" +                    //
           (hasAMZDate ? String() : getHeaderFromMap(headers, "date")) + "\n" +  //
           getCanonicalizedAMZHeaders(headers) + getCanonicalizedResource(request->getURL());
}

String CS3Client::getCanonicalizedAMZHeaders(const TMap<String, String>& headers) {
    TArray<String> names;
    for (const auto& [name, value] : headers) {
        if (name.startsWith(amzPrefix)) {
            names.push_back(name);
        }
    }
    std::sort(names.begin(), names.end());
    String lines;
    for (const String& name : names) {
        String value = getHeaderFromMap(headers, name);
        makeSingleLineHeaderValue(value);
        lines += name + ":" + value + "\n";
    }
    return lines;
}

String CS3Client::getCanonicalizedResource(const String& url) {
    constexpr char separator[] = "://";
    const std::size_t schemeEnd = url.find(separator);
    const std::size_t start =
        schemeEnd == String::npos ? String::npos : url.find(L'/', schemeEnd + sizeof separator - 1);
    if (start == String::npos) {
        throw CError("Invalid Amazon S3 query URL: '" + url + "'.");
    }
    const String resource = url.substr(start);
    const std::size_t query = resource.find(L'?');
    const bool isPlain = query == String::npos || (resource.find(L'=', query) == String::npos &&
                                                   resource.find(L'&', query) == String::npos);
    return isPlain ? resource : resource.substr(0, query);
}

void CS3Client::makeSingleLineHeaderValue(String& value) {
    for (std::size_t lineFeed; (lineFeed = value.find(L'\n')) != String::npos;) {
        String tail = value.substr(lineFeed);
        tail.trimLeft();
        value = value.substr(0, lineFeed) + " " + tail;
    }
}

String CS3Client::getHeaderFromMap(const TMap<String, String>& headers, const String& name) {
    const auto found = headers.find(name);
    return found == headers.end() ? String() : found->second;
}

}  // namespace vexil

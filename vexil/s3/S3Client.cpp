#include "vexil/s3/S3Client.h"

#include "sigil/Digest.h"
#include "vexil/net/LineEnd.h"
#include "vexil/net/RequestSetupCall.h"
#include "vexil/s3/S3BaseURL.h"
#include "vexil/s3/S3HeaderMap.h"
#include "vexil/s3/S3SignerV2.h"
#include "vexil/s3/S3XmlReduction.h"
#include "zet/Thread.h"

namespace vexil {

namespace {

// Forces the constant into the DLL: on Windows, code that binds a reference to it imports it from there.
[[gnu::used]] const int64* const neededConstant = &CS3Client::maxPutSize;

constexpr char defaultHost[] = "s3.amazonaws.com";
constexpr CS3SignerV2 signer;

/// Reads the headers from the request's list, because the hook and the caller may have added some.
CS3RequestToSign describe(const CNetRequest& request) {
    CS3RequestToSign parts{request.getHTTPMethod(), request.getURL(), {}};
    if (const P<CNetHeaders> list = request.getCustomHTTPHeaders()) {
        list->fillMap(parts.headers);
    }
    return parts;
}

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
    if (!m_verifiesHostName) {
        request.setOptionInt(CURLOPT_SSL_VERIFYHOST, 0);
    }
    request.setReceiveBufferLimits(-1, maxErrorDocumentBytes);
    P<CNetHeaders> headers = new CNetHeaders;
    const auto [name, value] = signer.makeTimeHeader(getCurrentTime());
    headers->add(name, value);
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
    for (const auto& [name, value] : signer.sign(describe(*request), {m_accessKeyId, m_secretKeyUTF8})) {
        headers->add(name, value);
    }
    if (isNew) {
        request->setCustomHTTPHeaders(headers);
    }
}

String CS3Client::getSignature(CNetRequest* request) {
    return CS3SignerV2::makeSignature(describe(*request), m_secretKeyUTF8);
}

String CS3Client::getStringToSign(CNetRequest* request) {
    return CS3SignerV2::makeStringToSign(describe(*request));
}

String CS3Client::getCanonicalizedAMZHeaders(const TMap<String, String>& headers) {
    return CS3SignerV2::canonicalizeAMZHeaders(headers);
}

String CS3Client::getCanonicalizedResource(const String& url) {
    return CS3SignerV2::canonicalizeResource(url);
}

void CS3Client::makeSingleLineHeaderValue(String& value) {
    CS3SignerV2::makeSingleLine(value);
}

String CS3Client::getHeaderFromMap(const TMap<String, String>& headers, const String& name) {
    return findHeader(headers, name);
}

}  // namespace vexil

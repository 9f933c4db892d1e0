#include "vexil/s3/S3Client.h"

#include "sigil/Digest.h"
#include "vexil/net/RequestSetupCall.h"
#include "vexil/net/ServerAddress.h"
#include "vexil/s3/S3BaseURL.h"
#include "vexil/s3/S3XmlReduction.h"
#include "zet/Thread.h"

namespace vexil {

namespace {

// Forces the constant into the DLL: on Windows, code that binds a reference to it imports it from there.
[[gnu::used]] const int64* const neededConstant = &CS3Client::maxPutSize;

constexpr char defaultHost[] = "s3.amazonaws.com";
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
    m_isAmazon = false;
    m_bucketRegions.clear();
}

void CS3Client::setServer(const String& host, int port, bool secure) {
    static constexpr char place[] = "CS3Client::setServer";
    const CServerAddress address{String(), checkHost(place, host), checkPort(place, port)};
    setBaseURL((secure ? "https://" : "http://") + joinHostAndPort(address));
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
    const auto [name, value] = makeTimeHeader();
    headers->add(name, value);
    request.setCustomHTTPHeaders(headers);
    callRequestSetup(m_requestSetup, request, "CS3Client::setRequestSetup");
    if (isVersion4()) {
        // After the hook, because neither is a matter of taste: a signature holds for one host and one path.
        request.setFollowRedirects(false);
        request.setOptionInt(CURLOPT_PATH_AS_IS, 1);
    }
    return headers;
}

void CS3Client::finishPrepareRequest(CNetRequest& request) {
    signRequest(&request);
}

}  // namespace vexil

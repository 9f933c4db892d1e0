#include "apps/vexil/RequestSetup.h"

#include "apps/vexil/Console.h"
#include "apps/vexil/Text.h"
#include "apps/vexil/TransferMonitor.h"

#include <cerrno>
#include <cmath>
#include <fstream>

namespace vexil::app {

namespace {

constexpr int defaultConnectMilliseconds = 30000;

void checkReadable(const std::string& caBundle) {
    errno = 0;
    if (!std::ifstream(toPath(caBundle))) {
        throw CInvalidArgError("CRequestSetup", "cannot open the CA bundle '" + describe(toPath(caBundle)) +
                                                    "': " + describeSystemError(errno));
    }
}

}  // namespace

CRequestSetup::CRequestSetup(const COptions& options, CConsole& console, CVerboseLogFile* verboseLog)
    : m_options(options) {
    if (!m_options.caBundle.empty()) {
        checkReadable(m_options.caBundle);
    }
    if (m_options.proxy) {
        m_proxy.emplace(*m_options.proxy);
    }
    if (verboseLog || console.shows(Verbosity::Debug)) {
        m_wireLog = new CWireLog(console, verboseLog);
    }
}

void CRequestSetup::setUp(CNetRequest& request) {
    request.setSSLVerifyPeer(m_options.verify);
    // Who does not care who has signed the certificate does not care for the name in it either.
    request.setOptionInt(CURLOPT_SSL_VERIFYHOST, m_options.verify ? 2 : 0);
    if (!m_options.caBundle.empty()) {
        request.setRootCertBundlePath(String::fromUTF8(m_options.caBundle));
    }
    if (m_proxy) {
        m_proxy->setUp(request);
    }
    setTimeouts(request);
    CTransferMonitor::watch(request);
    if (m_wireLog) {
        CTransferMonitor::of(request).getRecorder().start();
        request.setDoneListener(m_wireLog);
    }
    if (!m_requiredETag.isEmpty()) {
        if (const P<CNetHeaders> headers = request.getCustomHTTPHeaders()) {
            headers->add("If-Match", m_requiredETag);
        }
    }
}

void CRequestSetup::tellWire(CNetRequest& request) const {
    if (m_wireLog) {
        m_wireLog->onDone(&request, nullptr);
    }
}

void CRequestSetup::tellGivenUp(CNetRequest& request) const {
    if (m_wireLog) {
        m_wireLog->onGivenUp(request);
    }
}

void CRequestSetup::setTimeouts(CNetRequest& request) const {
    if (m_options.timeoutSeconds > 0) {
        const auto milliseconds = std::max(1LL, std::llround(m_options.timeoutSeconds * 1000));
        request.setFullRequestTimeout(zet::CTimeSpan::fromMilliseconds(milliseconds));
        request.setConnectTimeout(
            zet::CTimeSpan::fromMilliseconds(std::min<int64>(milliseconds, defaultConnectMilliseconds)));
    }
}

}  // namespace vexil::app

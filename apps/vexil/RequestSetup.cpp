#include "apps/vexil/RequestSetup.h"

#include "apps/vexil/Console.h"
#include "apps/vexil/TransferMonitor.h"

#include <cmath>

namespace vexil::app {

namespace {

constexpr int defaultConnectMilliseconds = 30000;

}  // namespace

CRequestSetup::CRequestSetup(const COptions& options, CConsole& console, CVerboseLogFile* verboseLog)
    : m_options(options), m_certificates(options) {
    if (m_options.proxy) {
        m_proxy.emplace(*m_options.proxy);
    }
    if (verboseLog || console.shows(Verbosity::Debug)) {
        m_wireLog = new CWireLog(console, verboseLog);
    }
}

void CRequestSetup::setUp(CNetRequest& request) {
    m_certificates.setUp(request);
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

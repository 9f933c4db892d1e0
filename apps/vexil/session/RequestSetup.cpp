#include "apps/vexil/session/RequestSetup.h"

#include "apps/vexil/base/Text.h"
#include "apps/vexil/console/Console.h"
#include "apps/vexil/session/TransferMonitor.h"
#include "vexil/net/TransferBuffers.h"
#include "vexil/net/URLRedaction.h"

#include <cmath>

namespace vexil::app {

namespace {

constexpr int defaultConnectMilliseconds = 30000;
constexpr int maxRecordedBytes = 65536;
// Most bytes are in large bodies. A larger buffer to send has saved nothing: docs/performance.md.
constexpr int receiveBuffer = 256 * 1024;

}  // namespace

CRequestSetup::CRequestSetup(const COptions& options, CConsole& console, CVerboseLogFile* verboseLog)
    : m_console(console), m_redirectsToHTTP(options.redirectToHTTP), m_timeoutSeconds(options.timeoutSeconds),
      m_certificates(options) {
    if (options.proxy) {
        m_proxy.emplace(*options.proxy);
    }
    if (options.bytesPerSecond > 0) {
        m_rateLimit = new CRateLimit;
        m_rateLimit->setDownloadRate(options.bytesPerSecond);
        m_rateLimit->setUploadRate(options.bytesPerSecond);
    }
    if (verboseLog || console.shows(Verbosity::Debug)) {
        m_wireLog = new CWireLog(console, verboseLog);
    }
}

void CRequestSetup::setUp(CNetRequest& request) {
    m_certificates.setUp(request);
    setRedirects(request);
    setProxy(request);
    setTimeouts(request, {});
    setRateLimit(request, m_rateLimit);
    setTransferBuffers(request, {.receive = receiveBuffer});
    CTransferMonitor::watch(request);
    if (m_wireLog) {
        request.setVerbose(true);
        request.setVerboseRecordLimit(maxRecordedBytes);
        request.setDoneListener(m_wireLog);
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

void CRequestSetup::setUpNextURL(CNetRequest& request, std::chrono::steady_clock::duration elapsed) const {
    setProxy(request);
    setTimeouts(request, elapsed);
}

bool CRequestSetup::isTimeOver(std::chrono::steady_clock::duration elapsed) const noexcept {
    return m_timeoutSeconds > 0 && std::chrono::duration<double>(elapsed).count() >= m_timeoutSeconds;
}

// For redirects that libcurl follows. It checks only this list for each URL, not the URL before it.
void CRequestSetup::setRedirects(CNetRequest& request) const {
    const bool staysEncrypted = !m_redirectsToHTTP && !request.getURL().startsWithNoCase("http:");
    request.setRedirectProtocols(staysEncrypted ? "https" : "http,https");
    request.setMaxRedirects(maxRedirects);
    if (m_proxy && m_proxy->dependsOnURL()) {
        // libcurl would use the proxy of the first host for the next one.
        request.setFollowRedirects(false);
    }
}

void CRequestSetup::setProxy(CNetRequest& request) const {
    if (m_proxy) {
        m_proxy->setUp(request);
        if (m_console.shows(Verbosity::Debug)) {
            m_console.message(Verbosity::Debug, "vexil: proxy for " + printable(redactURL(request.getURL())) +
                                                    ": " + m_proxy->explain(request.getURL()));
        }
    }
}

void CRequestSetup::setTimeouts(CNetRequest& request, std::chrono::steady_clock::duration elapsed) const {
    if (m_timeoutSeconds > 0) {
        const double seconds = m_timeoutSeconds - std::chrono::duration<double>(elapsed).count();
        const auto milliseconds = std::max(1LL, std::llround(seconds * 1000));
        request.setFullRequestTimeout(zet::CTimeSpan::fromMilliseconds(milliseconds));
        request.setConnectTimeout(
            zet::CTimeSpan::fromMilliseconds(std::min<int64>(milliseconds, defaultConnectMilliseconds)));
    }
}

}  // namespace vexil::app

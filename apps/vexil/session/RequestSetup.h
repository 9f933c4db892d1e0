#pragma once

#include "apps/vexil/base/Options.h"
#include "apps/vexil/session/ProxyChoice.h"
#include "apps/vexil/session/TrustedCertificates.h"
#include "apps/vexil/session/WireLog.h"
#include "vexil/net/NetRequest.h"
#include "vexil/net/NetRequestSetup.h"
#include "vexil/net/RateLimit.h"

#include <chrono>
#include <optional>

namespace vexil::app {

class CConsole;
class CVerboseLogFile;

/// Sets the program's options on every request: certificates, redirects, proxy, time-outs, the progress of
/// its bytes and the logs.
class CRequestSetup : public virtual CBase, public INetRequestSetup {
public:
    /// The maximum of redirects in a row.
    static constexpr int maxRedirects = 20;

    /// Console and log must outlive it.
    /// \param verboseLog  null for none
    /// \throws CInvalidArgError for certificates that cannot be used, see CTrustedCertificates
    CRequestSetup(const COptions& options, CConsole& console, CVerboseLogFile* verboseLog);

    void setUp(CNetRequest& request) override;
    /// Sets the options that depend on the URL, after a configured request got another URL.
    /// \param elapsed  the part of the time limit that has passed
    void setUpNextURL(CNetRequest& request, std::chrono::steady_clock::duration elapsed) const;
    /// Whether the time limit of the whole operation has passed. libcurl itself would allow each next URL a
    /// millisecond.
    bool isTimeOver(std::chrono::steady_clock::duration elapsed) const noexcept;
    /// Whether a redirect may lead from https to http.
    bool mayLeaveEncryption() const noexcept { return m_redirectsToHTTP; }
    /// Logs the messages on the wire of the last transfer of a request, if they are to be shown. For a
    /// request that another thread has driven and whose done listener was removed.
    void tellWire(CNetRequest& request) const;
    /// The same for the verbose log alone, after the transfer was given up.
    void tellGivenUp(CNetRequest& request) const;

    /// Whether a server must prove its identity.
    bool checksCertificates() const noexcept { return m_certificates.areChecked(); }

private:
    void setRedirects(CNetRequest& request) const;
    void setProxy(CNetRequest& request) const;
    void setTimeouts(CNetRequest& request, std::chrono::steady_clock::duration elapsed) const;

    CConsole& m_console;
    const bool m_redirectsToHTTP;
    const double m_timeoutSeconds;  // 0 for no limit
    CTrustedCertificates m_certificates;
    std::optional<CProxyChoice> m_proxy;
    P<CRateLimit> m_rateLimit;  // null for none
    P<CWireLog> m_wireLog;
};

}  // namespace vexil::app

#pragma once

#include "apps/vexil/base/Options.h"
#include "apps/vexil/session/ProxyChoice.h"
#include "apps/vexil/session/TrustedCertificates.h"
#include "apps/vexil/session/WireLog.h"
#include "vexil/net/NetRequest.h"
#include "vexil/net/NetRequestSetup.h"

#include <chrono>
#include <optional>

namespace vexil::app {

class CConsole;
class CVerboseLogFile;

/// Sets the program's options on every request: certificates, redirects, proxy, time-outs, the watch over its bytes and
/// the logs.
class CRequestSetup : public virtual CBase, public INetRequestSetup {
public:
    /// So many redirects are followed in a row.
    static constexpr int maxRedirects = 20;

    /// Console and log must outlive it.
    /// \param verboseLog  null for none
    /// \throws CInvalidArgError for certificates that cannot be trusted, see CTrustedCertificates
    CRequestSetup(const COptions& options, CConsole& console, CVerboseLogFile* verboseLog);

    void setUp(CNetRequest& request) override;
    /// Sets what depends on the URL, after a request that was set up got another one.
    /// \param elapsed  what is gone of the time of the whole
    void setUpNextURL(CNetRequest& request, std::chrono::steady_clock::duration elapsed) const;
    /// True if the time limit of the whole has passed. libcurl alone would allow each further URL a millisecond.
    bool isTimeOver(std::chrono::steady_clock::duration elapsed) const noexcept;
    /// Whether a redirect may lead from https to http.
    bool mayLeaveEncryption() const noexcept { return m_options.redirectToHTTP; }
    /// Tells what went over the wire in the last transfer of a request that another thread has driven and whose done
    /// listener was taken off, if it is to be told.
    void tellWire(CNetRequest& request) const;
    /// The same for the verbose log alone, where the transfer was given up.
    void tellGivenUp(CNetRequest& request) const;

    /// Whether a server must prove who it is.
    bool checksCertificates() const noexcept { return m_certificates.areChecked(); }

private:
    friend class CRequiredETag;

    void setRedirects(CNetRequest& request) const;
    void setProxy(CNetRequest& request) const;
    void setTimeouts(CNetRequest& request, std::chrono::steady_clock::duration elapsed) const;

    COptions m_options;
    CTrustedCertificates m_certificates;
    std::optional<CProxyChoice> m_proxy;
    P<CWireLog> m_wireLog;
    String m_requiredETag;
};

/// While it lives, requests ask for an object only if it has this ETag (RFC 9110, 13.1.1); "" for no such
/// condition.
class CRequiredETag {
public:
    CRequiredETag(CRequestSetup& setup, const String& eTag) : m_setup(setup) { setup.m_requiredETag = eTag; }
    ~CRequiredETag() { m_setup.m_requiredETag.clear(); }
    CRequiredETag(const CRequiredETag&) = delete;
    CRequiredETag& operator=(const CRequiredETag&) = delete;

private:
    CRequestSetup& m_setup;
};

}  // namespace vexil::app

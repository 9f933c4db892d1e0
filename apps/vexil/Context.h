#pragma once

#include "apps/vexil/Console.h"
#include "apps/vexil/CountingS3Client.h"
#include "apps/vexil/Options.h"
#include "apps/vexil/RequestSetup.h"
#include "vexil/net/NetRequest.h"

namespace vexil::app {

class CCredentials;

/// What a command works with: console, options, one request, and the S3 client. Made on first use, so that a
/// command that needs no keys asks for none.
class CContext {
public:
    /// The console must outlive it.
    CContext(const COptions& options, CConsole& console);
    CContext(const CContext&) = delete;
    CContext& operator=(const CContext&) = delete;

    CConsole& getConsole() noexcept { return m_console; }

    CRequestSetup& getSetup();
    /// The request of all S3 operations; an HTTP command prepares it itself with prepareHTTPRequest().
    CNetRequest& getRequest();
    bool hasRequest() const noexcept { return m_request != nullptr; }
    /// The request with URL and options set.
    CNetRequest& prepareHTTPRequest(const std::string& url);
    /// \throws CInvalidArgError for credentials that are missing and an endpoint that is none
    CCountingS3Client& getClient();

private:
    CCredentials loadCredentials();
    String getEndpoint() const;

    COptions m_options;
    CConsole& m_console;
    P<CRequestSetup> m_setup;
    P<CNetRequest> m_request;
    P<CCountingS3Client> m_client;
};

/// Lets a transfer's bytes be shown while it lives.
class CProgressScope {
public:
    CProgressScope(CContext& context, CProgress& progress) : m_monitor(context.getSetup().getMonitor()) {
        m_monitor->setProgress(&progress);
    }
    ~CProgressScope() { m_monitor->setProgress(nullptr); }
    CProgressScope(const CProgressScope&) = delete;
    CProgressScope& operator=(const CProgressScope&) = delete;

private:
    P<CTransferMonitor> m_monitor;
};

}  // namespace vexil::app

#pragma once

#include "apps/vexil/base/Options.h"
#include "apps/vexil/console/Console.h"
#include "apps/vexil/session/RequestSetup.h"
#include "vexil/net/NetRequest.h"

namespace vexil::app {

class CCredentials;
struct CCredentialNames;

/// The run of one command: console, options, and one request with its set-up. Both are made on first use.
class CSession {
public:
    /// Console and log must outlive it.
    /// \param verboseLog  null for none
    CSession(const COptions& options, CConsole& console, CVerboseLogFile* verboseLog = nullptr);
    CSession(const CSession&) = delete;
    CSession& operator=(const CSession&) = delete;

    const COptions& getOptions() const noexcept { return m_options; }
    CConsole& getConsole() noexcept { return m_console; }

    /// \throws CInvalidArgError for certificates that cannot be trusted
    CRequestSetup& getSetup();
    /// The request of all operations except those of a CSessionQueue.
    CNetRequest& getRequest();

    /// True if the environment or a file has credentials of these names, perhaps not all of them.
    bool hasCredentials(const CCredentialNames& names) const;
    /// \throws CInvalidArgError if a part of the credentials is missing, or if their file cannot be read
    CCredentials loadCredentials(const CCredentialNames& names);

    /// Notes another request than getRequest() as the one whose failure ends the command.
    void setFailedRequest(const P<CNetRequest>& request) { m_failedRequest = request; }
    /// The request of the error that ends the command, if the error is about a request; may be null.
    P<CNetRequest> getFailedRequest() const { return m_failedRequest ? m_failedRequest : m_request; }

private:
    COptions m_options;
    CConsole& m_console;
    CVerboseLogFile* m_verboseLog;
    P<CRequestSetup> m_setup;
    P<CNetRequest> m_request;
    P<CNetRequest> m_failedRequest;
};

}  // namespace vexil::app

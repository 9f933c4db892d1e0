#pragma once

#include "apps/vexil/base/Options.h"
#include "apps/vexil/console/Console.h"
#include "apps/vexil/console/FileProgress.h"
#include "apps/vexil/ftp/FTPSession.h"
#include "apps/vexil/s3/PatientS3Client.h"
#include "apps/vexil/s3/S3TransferPolicy.h"
#include "apps/vexil/session/RequestSetup.h"
#include "apps/vexil/session/TransferMonitor.h"
#include "apps/vexil/transfer/Patience.h"
#include "vexil/net/NetRequest.h"

#include <memory>

namespace vexil::app {

class CCredentials;
struct CCredentialNames;

/// Everything that a command works with: console, options, one request, the S3 client and the FTP session.
/// Made at their first use, so that a command without keys does not ask for them.
class CContext {
public:
    /// Console and log must outlive it.
    /// \param verboseLog  null for none
    CContext(const COptions& options, CConsole& console, CVerboseLogFile* verboseLog = nullptr);
    CContext(const CContext&) = delete;
    CContext& operator=(const CContext&) = delete;

    CConsole& getConsole() noexcept { return m_console; }

    CRequestSetup& getSetup();
    /// The request of all operations except those of a CTransferQueue; an HTTP command prepares it itself
    /// with prepareHTTPRequest().
    CNetRequest& getRequest();
    /// The request with URL and options set.
    CNetRequest& prepareHTTPRequest(const std::string& url);
    /// \throws CInvalidArgError for missing credentials and an invalid endpoint
    CPatientS3Client& getClient();
    /// Whether the content of objects is compared with their ETag.
    bool verifiesETags() const noexcept { return m_options.verifyETag; }
    /// The policy for transfers to and from S3.
    ITransferPolicy& getS3Policy();
    /// \throws CInvalidArgError for missing credentials and an invalid server
    CFTPSession& getFTP();

    /// The login for a mail server; both parts are "" if neither the environment nor a file has one, because
    /// many servers need none.
    /// \throws CInvalidArgError for an incomplete one
    CCredentials loadMailLogin();

    /// Notes another request than getRequest() as the one whose failure ends the command.
    void setFailedRequest(const P<CNetRequest>& request) { m_failedRequest = request; }
    /// The request whose error ends the command; null if the error is not about a request.
    P<CNetRequest> getFailedRequest() const { return m_failedRequest ? m_failedRequest : m_request; }

private:
    const std::shared_ptr<CPatience>& getPatience();
    CPatience::Settings makePatienceSettings();
    CCredentials loadCredentials(const CCredentialNames& names);
    String getEndpoint() const;
    String getFTPServer() const;

    COptions m_options;
    CConsole& m_console;
    CVerboseLogFile* m_verboseLog;
    P<CRequestSetup> m_setup;
    P<CNetRequest> m_request;
    P<CNetRequest> m_failedRequest;
    std::shared_ptr<CPatience> m_patience;
    std::unique_ptr<CS3TransferPolicy> m_s3Policy;
    P<CPatientS3Client> m_client;
    std::unique_ptr<CFTPSession> m_ftp;
};

/// Shows the bytes of the context's request as long as it lives.
class CProgressScope {
public:
    CProgressScope(CContext& context, CProgress& progress)
        : m_file(progress, ""), m_monitor(&CTransferMonitor::of(context.getRequest())) {
        m_monitor->setFile(&m_file);
    }
    ~CProgressScope() { m_monitor->setFile(nullptr); }
    CProgressScope(const CProgressScope&) = delete;
    CProgressScope& operator=(const CProgressScope&) = delete;

private:
    CFileProgress m_file;
    P<CTransferMonitor> m_monitor;
};

}  // namespace vexil::app

#pragma once

#include "apps/vexil/s3/PatientS3Client.h"
#include "apps/vexil/s3/S3TransferPolicy.h"
#include "apps/vexil/session/Session.h"

namespace vexil::app {

struct CCredentialNames;

/// An S3 server as the commands use it: the client with endpoint and keys, and the policy for transfers. One
/// thread.
class CS3Access {
public:
    /// VEXIL_S3_ACCESS_KEY and VEXIL_S3_SECRET_KEY, or "access_key=..." and "secret_key=...".
    static const CCredentialNames credentialNames;

    /// Sends nothing. The session must outlive it.
    /// \throws CInvalidArgError if credentials are missing, or if the endpoint cannot be used
    explicit CS3Access(CSession& session);
    CS3Access(const CS3Access&) = delete;
    CS3Access& operator=(const CS3Access&) = delete;

    CSession& getSession() noexcept { return m_session; }
    CConsole& getConsole() noexcept { return m_session.getConsole(); }
    /// The request of all operations except those of a CTransferQueue.
    CNetRequest& getRequest() { return m_session.getRequest(); }
    CPatientS3Client& getClient() noexcept { return *m_client; }
    ITransferPolicy& getPolicy() noexcept { return m_policy; }
    /// True if the content of objects is compared with their ETag.
    bool verifiesETags() const noexcept { return m_session.getOptions().verifyETag; }

private:
    CSession& m_session;
    CPatience m_patience;
    CS3TransferPolicy m_policy;
    P<CPatientS3Client> m_client;
};

}  // namespace vexil::app

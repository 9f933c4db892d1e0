#pragma once

#include "apps/vexil/s3/S3TransferPolicy.h"
#include "apps/vexil/session/Session.h"
#include "vexil/s3/S3Client.h"

namespace vexil::app {

/// An S3 client that tries temporary failures again by the rules of the program, instead of every 100 ms.
class CPatientS3Client : public CS3Client {
public:
    /// \param policy  must outlive it
    CPatientS3Client(const String& accessKeyID, const String& secretKey, bool useHTTPS,
                     CS3TransferPolicy& policy)
        : CS3Client(accessKeyID, secretKey, useHTTPS), m_policy(policy) {}
    ~CPatientS3Client() override;

    /// Also tries again after a response that ended within its headers. Each try is signed again.
    int performRequest(CNetRequest& request) override;

private:
    void performOnce(CNetRequest& request);

    CS3TransferPolicy& m_policy;
};

struct CCredentialNames;

/// An S3 server as the commands use it: the client with endpoint and keys, and the policy for transfers. One
/// thread.
class CS3Access {
public:
    /// VEXIL_S3_ACCESS_KEY and VEXIL_S3_SECRET_KEY, or "access_key=...", "secret_key=..." and, for temporary
    /// keys, "session_token=..." in a file. The profile of --profile replaces them, and the variables of
    /// Amazon's tools count if none of these is given.
    static const CCredentialNames credentialNames;

    /// Sends nothing. The session must outlive it.
    /// \throws CInvalidArgError if credentials are missing, or if the endpoint or the region cannot be used
    explicit CS3Access(CSession& session);
    CS3Access(const CS3Access&) = delete;
    CS3Access& operator=(const CS3Access&) = delete;

    CSession& getSession() noexcept { return m_session; }
    CConsole& getConsole() noexcept { return m_session.getConsole(); }
    /// The request of all operations except those of a CSessionQueue.
    CNetRequest& getRequest() { return m_session.getRequest(); }
    CPatientS3Client& getClient() noexcept { return *m_client; }
    IServerPolicy& getPolicy() noexcept { return m_policy; }
    /// To be copied. The retries of all copies are counted by the policy. It must outlive the copies.
    const CRetryPolicy& getRetryPolicy() const noexcept { return m_retryPolicy; }
    /// Deletes an object, which may be missing.
    void deleteObject(const String& bucket, const String& key);
    /// True if the content of objects is compared with their ETag.
    bool verifiesETags() const noexcept { return m_session.getOptions().verifyETag; }

private:
    CRetryPolicy::Settings makeCountedSettings();

    CSession& m_session;
    CRetryPolicy m_retryPolicy;
    CS3TransferPolicy m_policy;
    P<CPatientS3Client> m_client;
};

}  // namespace vexil::app

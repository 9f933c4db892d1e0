#pragma once

#include "apps/vexil/s3/S3TransferPolicy.h"
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
    void signAgain(CNetRequest& request);

    CS3TransferPolicy& m_policy;
};

}  // namespace vexil::app

#pragma once

#include "vexil/s3/S3CredentialsProvider.h"

namespace vexil {

/// Keys that do not change. Any thread.
class VEXIL_API CS3FixedCredentials : public virtual CBase, public IS3CredentialsProvider {
public:
    /// \param credentials  returned by each call of getCredentials()
    explicit CS3FixedCredentials(const CS3Credentials& credentials) : m_credentials(credentials) {}
    ~CS3FixedCredentials() override;

    [[nodiscard]] CS3Credentials getCredentials() override { return m_credentials; }

private:
    CS3Credentials m_credentials;
};

}  // namespace vexil

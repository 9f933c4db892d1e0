#pragma once

#include "vexil/s3/S3CredentialsProvider.h"

namespace vexil {

/// The keys in AWS_ACCESS_KEY_ID, AWS_SECRET_ACCESS_KEY and, for temporary keys, AWS_SESSION_TOKEN. The
/// environment is read by each call of getCredentials().
///
/// Any thread, as long as no thread changes the environment.
class VEXIL_API CS3EnvironmentCredentials : public virtual CBase, public IS3CredentialsProvider {
public:
    ~CS3EnvironmentCredentials() override;

    /// \throws CError that names the variable that is not set or empty
    [[nodiscard]] CS3Credentials getCredentials() override;
};

}  // namespace vexil

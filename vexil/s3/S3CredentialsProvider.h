#pragma once

#include "vexil/BaseTypes.h"
#include "vexil/Export.h"
#include "vexil/s3/S3Credentials.h"

namespace vexil {

/// Where a CS3Client gets its keys from, if they may change (CS3Client::setCredentialsProvider()). A client
/// asks for each signature; an exception passes through the preparation or operation that signs.
///
/// One provider may serve several clients on several threads: getCredentials() must be callable from any
/// thread, also from several at once.
///
/// CS3FixedCredentials, CS3EnvironmentCredentials and CS3ProfileCredentials are providers.
/// CS3RefreshedCredentials is the base of providers of temporary keys.
class VEXIL_API IS3CredentialsProvider : public virtual IBase {
public:
    /// The keys of now. Empty keys are an error.
    [[nodiscard]] virtual CS3Credentials getCredentials() = 0;

protected:
    ~IS3CredentialsProvider() override;
};

}  // namespace vexil

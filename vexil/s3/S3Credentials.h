#pragma once

#include "vexil/BaseTypes.h"

namespace vexil {

/// The keys of an S3 account, by name, so that they cannot be swapped by mistake. A value.
///
/// \code
/// CS3Client client({.accessKeyId = "ACCESSKEY", .secretKey = "SECRET"});
/// \endcode
struct CS3Credentials {
    String accessKeyId;  ///< sent with each request; must not contain CR, LF or NUL
    String secretKey;    ///< never sent
    /// The token of temporary keys, sent with each request (x-amz-security-token); "" for permanent keys.
    String sessionToken = {};
};

}  // namespace vexil

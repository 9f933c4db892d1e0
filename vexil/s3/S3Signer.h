/// \file
/// The interface between the S3 client and the versions of the signature.
#pragma once

#include "vexil/BaseTypes.h"
#include "zet/Time.h"

#include <string>
#include <utility>

namespace vexil {

/// Name and value of a header.
using CS3Header = std::pair<String, String>;

/// The parts of a request that are signed.
struct CS3RequestToSign {
    String method;                   ///< HTTP method
    String url;                      ///< with its query, escaped as it is sent
    TMap<String, String> headers;    ///< by lower-case name; the hash of the body is one of them
    bool signsSubresources = false;  ///< version 2: arguments such as uploadId are signed
};

/// The keys of an account, for one signature.
struct CS3SigningKeys {
    String accessKeyId;
    std::string secretKey;  ///< UTF-8
    String sessionToken;    ///< "" for none
};

/// One version of the signature. An implementation owns what only its version needs, such as a region.
///
/// A signature depends only on the arguments. To sign a further try, make a new time header and sign the
/// unsigned request again.
///
/// One thread at a time.
class IS3Signer {
public:
    /// The header that tells the service the time of the request. It is added before the request is signed.
    virtual CS3Header makeTimeHeader(const zet::CTime& time) const = 0;
    /// Makes the headers to add to the request, in this order, after all others.
    virtual TArray<CS3Header> sign(const CS3RequestToSign& request, const CS3SigningKeys& keys) const = 0;
    /// Makes the query, without "?", that lets everybody send the request until it expires. The URL of the
    /// request has no query.
    /// \param seconds  validity, at least 1
    virtual String presign(const CS3RequestToSign& request, const CS3SigningKeys& keys,
                           const zet::CTime& time, int64 seconds) const = 0;

protected:
    // Not virtual: signers are values and are never deleted through the interface.
    ~IS3Signer() = default;
};

}  // namespace vexil

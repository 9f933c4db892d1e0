#pragma once

#include "vexil/s3/S3PreparedKey.h"
#include "vexil/s3/S3Signer.h"

namespace vexil {

/// Signature version 2: HMAC-SHA1 over method, some headers and the resource, in the header Authorization.
class CS3SignerV2 final : public IS3Signer {
public:
    /// \param lastKey  the key of the last signature, which is replaced if it does not fit. The reference is
    ///                 kept
    explicit CS3SignerV2(CS3PreparedKeyPointer& lastKey) : m_lastKey(lastKey) {}

    CS3Header makeTimeHeader(const zet::CTime& time) const override;
    /// \throws CError "Invalid Amazon S3 query URL: '...'." if the URL has no path
    TArray<CS3Header> sign(const CS3RequestToSign& request, const CS3SigningKeys& keys) const override;
    String presign(const CS3RequestToSign& request, const CS3SigningKeys& keys, const zet::CTime& time,
                   int64 seconds) const override;

    /// @{

    /// The steps of sign(); see the members of CS3Client with similar names.
    String makeSignature(const CS3RequestToSign& request, const std::string& secretKey) const;
    static String makeStringToSign(const CS3RequestToSign& request);
    static String canonicalizeAMZHeaders(const TMap<String, String>& headers);
    static String canonicalizeResource(const String& url);
    /// Path and sub-resources of a URL, also of those with a value.
    static String canonicalizeSubresources(const String& url);
    static void makeSingleLine(String& headerValue);
    /// @}

private:
    CS3PreparedKeyPointer& m_lastKey;
};

}  // namespace vexil

#pragma once

#include "vexil/s3/S3PreparedKey.h"
#include "vexil/s3/S3Signer.h"

#include <string>

namespace vexil {

/// Signature version 4: HMAC-SHA-256 over a canonical form of method, path, query, headers and the hash of
/// the body, with a key that is valid for one day, region and service.
///
/// The time and the hash of the body are the headers x-amz-date and x-amz-content-sha256 of the request.
class CS3SignerV4 final : public IS3Signer {
public:
    /// The hash of a request without a body.
    static constexpr char emptyPayloadHash[] =
        "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855";

    /// \param lastKey  the key of the last signature, which is replaced if it does not fit. The reference is
    ///                 kept
    CS3SignerV4(const String& region, CS3PreparedKeyPointer& lastKey)
        : m_region(region.toUTF8()), m_lastKey(lastKey) {}

    CS3Header makeTimeHeader(const zet::CTime& time) const override;
    /// \throws CError "Invalid Amazon S3 query URL: '...'." if the URL has no host
    /// \throws CInvalidArgError if x-amz-date is missing or has another form than makeTimeHeader()
    TArray<CS3Header> sign(const CS3RequestToSign& request, const CS3SigningKeys& keys) const override;
    String presign(const CS3RequestToSign& request, const CS3SigningKeys& keys, const zet::CTime& time,
                   int64 seconds) const override;

    /// The time of the form of makeTimeHeader(); not set for any other text.
    static zet::CTime parseTime(const String& text);

    /// The text whose hash is signed.
    static std::string makeCanonicalRequest(const CS3RequestToSign& request);

    /// Day, region and service of a signature.
    std::string makeScope(const std::string& timestamp) const;

private:
    std::string makeSignature(const std::string& canonicalRequest, const std::string& timestamp,
                              const std::string& secretKey) const;

    const sigil::CHMACKey& getSigningKey(const std::string& date, const std::string& secretKey) const;

    std::string m_region;
    CS3PreparedKeyPointer& m_lastKey;
};

}  // namespace vexil

#include "vexil/s3/S3ContentMD5.h"

#include "sigil/Base64.h"
#include "vexil/net/ErrorClassification.h"
#include "vexil/s3/S3Client.h"
#include "vexil/s3/S3HeaderMap.h"
#include "vexil/s3/S3HexDigit.h"

#include <array>
#include <optional>

namespace vexil {

namespace {

constexpr std::size_t md5Bytes = 16;

/// The bytes of 32 hexadecimal digits, with or without quotes: not every service sends quotes.
std::optional<std::array<unsigned char, md5Bytes>> parseMD5(const String& eTag) {
    const bool isQuoted = eTag.length() >= 2 && eTag.startsWith("\"") && eTag.endsWith("\"");
    const String digits = isQuoted ? eTag.substr(1, eTag.length() - 2) : eTag;
    if (digits.length() != 2 * md5Bytes) {
        return std::nullopt;
    }
    std::array<unsigned char, md5Bytes> bytes{};
    for (std::size_t i = 0; i < md5Bytes; ++i) {
        const int high = getHexDigitValue(digits[2 * i]);
        const int low = getHexDigitValue(digits[2 * i + 1]);
        if (high < 0 || low < 0) {
            return std::nullopt;
        }
        bytes[i] = static_cast<unsigned char>(high * 16 + low);
    }
    return bytes;
}

/// True if the encryption headers show that the ETag is not computed from the plain content.
bool isEncryptedWithOwnKey(const TMap<String, String>& headers) {
    const String algorithm = findHeader(headers, "x-amz-server-side-encryption");
    return (!algorithm.isEmpty() && !(algorithm == "AES256")) ||
           headers.contains("x-amz-server-side-encryption-customer-algorithm");
}

}  // namespace

String CS3Client::getContentMD5(const TMap<String, String>& responseHeaders) {
    const auto bytes = parseMD5(findHeader(responseHeaders, "etag"));
    return bytes && !isEncryptedWithOwnKey(responseHeaders)
               ? sigil::base64Encode(bytes->data(), static_cast<int>(bytes->size()), true, false)
               : String();
}

String finishContentMD5(sigil::IDigest& digest) {
    TBuffer<unsigned char> hash;
    digest.finish(hash);
    return sigil::base64Encode(hash.getData(), hash.getUsed(), true, false);
}

void verifyContentMD5(const TMap<String, String>& responseHeaders, const String& contentMD5) {
    const String expected = CS3Client::getContentMD5(responseHeaders);
    if (!expected.isEmpty() && !(expected == contentMD5)) {
        throw makeTransientError("The content has the MD5 " + contentMD5 + ", but the ETag " +
                                 findHeader(responseHeaders, "etag") + " of the object stands for " +
                                 expected + ".");
    }
}

}  // namespace vexil

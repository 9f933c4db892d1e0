#include "vexil/s3/S3PartsETag.h"

#include "sigil/Digest.h"
#include "sigil/Hex.h"
#include "vexil/s3/S3HexDigit.h"

#include <algorithm>
#include <string>

namespace vexil {

namespace {

constexpr std::size_t md5Digits = 32;

void appendBytes(TBuffer<unsigned char>& bytes, const String& hexDigits) {
    for (std::size_t i = 0; i + 1 < hexDigits.length(); i += 2) {
        const auto byte = static_cast<unsigned char>(getHexDigitValue(hexDigits[i]) * 16 +
                                                     getHexDigitValue(hexDigits[i + 1]));
        bytes.append(&byte, 1);
    }
}

}  // namespace

String withoutQuotes(const String& eTag) {
    const bool isQuoted = eTag.length() >= 2 && eTag.startsWith("\"") && eTag.endsWith("\"");
    return isQuoted ? eTag.substr(1, eTag.length() - 2) : eTag;
}

bool isMD5(const String& text) {
    const std::string digits = text.toUTF8();
    return digits.size() == md5Digits &&
           std::all_of(digits.begin(), digits.end(), [](char digit) { return getHexDigitValue(digit) >= 0; });
}

bool isMD5OfParts(const String& eTag) {
    return eTag.length() > md5Digits && isMD5(eTag.substr(0, md5Digits)) && eTag[md5Digits] == L'-';
}

String makePartsETag(const TArray<String>& md5s) {
    if (!std::all_of(md5s.begin(), md5s.end(), isMD5)) {
        return String();
    }
    TBuffer<unsigned char> bytes;
    for (const String& md5 : md5s) {
        appendBytes(bytes, md5);
    }
    const P<sigil::IDigest> digest = sigil::CDigestType_MD5().createDigest();
    digest->update(bytes.getData(), bytes.getUsed());
    TBuffer<unsigned char> hash;
    digest->finish(hash);
    return sigil::hexEncode(hash) + "-" + String::fromInt(static_cast<int64>(md5s.size()));
}

}  // namespace vexil

#include "vexil/s3/S3ContentDigest.h"

#include "sigil/Hex.h"
#include "vexil/net/ErrorClassification.h"
#include "vexil/s3/S3Arguments.h"
#include "vexil/s3/S3ChecksumValue.h"
#include "vexil/s3/S3Client.h"
#include "vexil/s3/S3HeaderMap.h"
#include "vexil/s3/S3PartSize.h"
#include "vexil/s3/S3PartsETag.h"
#include "zet/ASCII.h"
#include "zet/DisplayText.h"
#include "zet/Log.h"
#include "zet/ParseNumber.h"

#include <algorithm>
#include <iterator>

namespace vexil {

namespace {

constexpr std::size_t md5Digits = 32;

/// The number of parts in a text that is all of "-" and the number; -1 for another text.
int64 parsePartCount(const String& text) {
    const bool isCount = text.length() >= 2 && text[0] == L'-' && zet::isDigit(text[1]);
    const int64 count = isCount ? zet::parseInt64(text.substr(1), int64{-1}) : -1;
    return count >= 1 && count <= maxPartNumber ? count : -1;
}

bool isBase64Character(wchar_t c) {
    return zet::isAlphanumeric(c) || c == L'+' || c == L'/';
}

/// A text that base64Encode() can make of so many bytes, with padding.
bool isBase64(const String& text, std::size_t bytes) {
    const std::size_t padding = (3 - bytes % 3) % 3;
    if (text.length() != (bytes + padding) / 3 * 4) {
        return false;
    }
    const std::wstring_view view = text.view();
    const std::size_t digits = text.length() - padding;
    return std::all_of(view.begin(), view.begin() + static_cast<std::ptrdiff_t>(digits), isBase64Character) &&
           view.find_first_not_of(L'=', digits) == view.npos;
}

bool usesMD5(S3ContentCheck check) {
    return check == S3ContentCheck::MD5 || check == S3ContentCheck::PartMD5s;
}

/// A checksum, and the checks that use it. None: services do not combine those of parts.
struct CChecksumCheck {
    S3Checksum checksum;
    S3ContentCheck ofWhole;
    S3ContentCheck ofParts;
};

constexpr CChecksumCheck checksumChecks[] = {
    {S3Checksum::SHA256, S3ContentCheck::SHA256, S3ContentCheck::PartSHA256s},
    {S3Checksum::CRC64NVME, S3ContentCheck::CRC64NVME, S3ContentCheck::None},
    {S3Checksum::CRC32C, S3ContentCheck::CRC32C, S3ContentCheck::PartCRC32Cs},
    {S3Checksum::CRC32, S3ContentCheck::CRC32, S3ContentCheck::PartCRC32s},
};

S3Checksum getChecksum(S3ContentCheck check) {
    const auto* const found =
        std::find_if(std::begin(checksumChecks), std::end(checksumChecks),
                     [check](const auto& entry) { return entry.ofWhole == check || entry.ofParts == check; });
    return found == std::end(checksumChecks) ? S3Checksum::None : found->checksum;
}

S3ContentCheck findCheck(S3Checksum checksum, bool isOfParts) {
    const auto* const found =
        std::find_if(std::begin(checksumChecks), std::end(checksumChecks),
                     [checksum](const auto& entry) { return entry.checksum == checksum; });
    return isOfParts ? found->ofParts : found->ofWhole;
}

P<sigil::IDigest> makeDigest(S3ContentCheck check) {
    return usesMD5(check) ? sigil::CDigestType_MD5().createDigest()
                          : createChecksumDigest(getChecksum(check));
}

String getName(S3ContentCheck check) {
    if (usesMD5(check)) {
        return check == S3ContentCheck::PartMD5s ? "ETag" : "MD5";
    }
    return getChecksumName(getChecksum(check));
}

}  // namespace

CS3ContentDigest::CS3ContentDigest(const String& name, const TMap<String, String>& headers,
                                   const CSources& sources)
    : m_name(name) {
    // The strongest one first.
    if (sources.hasChecksums) {
        takeChecksum(S3Checksum::SHA256, headers);
    }
    if (sources.hasETag) {
        takeETag(headers);
    }
    if (sources.hasChecksums) {
        for (const S3Checksum checksum : {S3Checksum::CRC64NVME, S3Checksum::CRC32C, S3Checksum::CRC32}) {
            takeChecksum(checksum, headers);
        }
    }
    if (m_check == S3ContentCheck::None) {
        return;
    }
    m_digest = makeDigest(m_check);
    if (m_partCount > 0) {
        m_digestOfParts = makeDigest(m_check);
    }
}

/// A value that cannot be read is ignored: it says nothing about the content.
void CS3ContentDigest::takeChecksum(S3Checksum checksum, const TMap<String, String>& headers) {
    const String value = findHeader(headers, getChecksumHeader(checksum));
    const String type = findHeader(headers, "x-amz-checksum-type");
    const std::size_t end = value.view().find(L'-');
    const bool isOfParts = end != std::wstring_view::npos;
    const String sum = isOfParts ? value.substr(0, end) : value;
    const int64 count = isOfParts ? parsePartCount(value.substr(end)) : 0;
    const bool hasFittingType = type.isEmpty() || type.equalsNoCase(isOfParts ? "COMPOSITE" : "FULL_OBJECT");
    if (count >= 0 && hasFittingType && isBase64(sum, static_cast<std::size_t>(getChecksumBytes(checksum)))) {
        take(findCheck(checksum, isOfParts), sum, count);
    }
}

void CS3ContentDigest::takeETag(const TMap<String, String>& headers) {
    const String eTag = withoutQuotes(findHeader(headers, "etag")).toLower();
    if (!CS3Client::getContentMD5(headers).isEmpty()) {
        take(S3ContentCheck::MD5, eTag, 0);
    } else if (eTag.length() > md5Digits) {
        TMap<String, String> first = headers;
        first["etag"] = eTag.substr(0, md5Digits);
        const int64 count = parsePartCount(eTag.substr(md5Digits));
        if (count > 0 && !CS3Client::getContentMD5(first).isEmpty()) {
            take(S3ContentCheck::PartMD5s, first["etag"], count);
        }
    }
}

void CS3ContentDigest::take(S3ContentCheck check, const String& value, int64 partCount) {
    const bool isBetter = m_check == S3ContentCheck::None || (m_partCount > 0 && partCount == 0);
    if (isBetter && check != S3ContentCheck::None) {
        m_check = check;
        m_expected = value;
        m_partCount = partCount;
    }
}

bool CS3ContentDigest::canHavePartSize(int64 partSize, int64 objectSize) const noexcept {
    return partSize >= 1 && objectSize >= 1 && (objectSize - 1) / partSize + 1 == m_partCount;
}

void CS3ContentDigest::setPartSize(int64 partSize, S3PartSizeSource source) {
    m_partSize = partSize;
    m_partSizeSource = source;
    m_partBytes = 0;
    m_digest->reset();
    m_digestOfParts->reset();
}

void CS3ContentDigest::setParts(const CS3UploadedParts& parts, int64 objectSize) {
    if (parts.sizes == CS3UploadedParts::Sizes::Equal && canHavePartSize(parts.size, objectSize)) {
        setPartSize(parts.size, S3PartSizeSource::Service);
    } else {
        giveUp();
    }
}

bool CS3ContentDigest::hasWrongMetadata(const CS3UploadedParts& parts) {
    if (!hasPartSizeOfMetadata() || parts.sizes == CS3UploadedParts::Sizes::Unknown) {
        return false;
    }
    if (parts.sizes == CS3UploadedParts::Sizes::Equal && parts.size == m_partSize) {
        m_partSizeSource = S3PartSizeSource::Service;
        return false;
    }
    zet::logWarning("The metadata " + String(partSizeMetadata) + " of the object '" +
                    zet::toDisplayText(m_name) + "' is wrong: its parts do not have " +
                    String::fromInt(m_partSize) + " bytes.");
    return true;
}

void CS3ContentDigest::update(const void* data, int length) {
    if (m_check == S3ContentCheck::None) {
        return;
    }
    if (m_partCount == 0) {
        m_digest->update(data, length);
        return;
    }
    const char* next = static_cast<const char*>(data);
    while (length > 0) {
        const int count = static_cast<int>(std::min<int64>(length, m_partSize - m_partBytes));
        m_digest->update(next, count);
        next += count;
        length -= count;
        m_partBytes += count;
        if (m_partBytes == m_partSize) {
            finishPart();
        }
    }
}

void CS3ContentDigest::finishPart() {
    TBuffer<unsigned char> hash;
    m_digest->finish(hash);
    m_digest->reset();
    m_digestOfParts->update(hash.getData(), hash.getUsed());
    m_partBytes = 0;
}

String CS3ContentDigest::encode(sigil::IDigest& digest) const {
    if (!usesMD5(m_check)) {
        return finishChecksum(digest);
    }
    TBuffer<unsigned char> hash;
    digest.finish(hash);
    return sigil::hexEncode(hash);
}

bool CS3ContentDigest::finish() {
    if (m_check == S3ContentCheck::None) {
        return true;
    }
    if (m_partBytes > 0) {
        finishPart();
    }
    m_found = encode(m_partCount > 0 ? *m_digestOfParts : *m_digest);
    return m_found == m_expected;
}

CError CS3ContentDigest::makeError() const {
    const bool isOfParts = m_partCount > 0;
    const String end = isOfParts ? "-" + String::fromInt(m_partCount) : String();
    String text = "The content of '" + zet::toDisplayText(m_name) + "' has the " + getName(m_check) + " " +
                  m_found + end;
    if (isOfParts) {
        text += " in parts of " + String::fromInt(m_partSize) + " bytes";
    }
    text += ", but the service tells " + m_expected + end + ".";
    if (hasPartSizeOfMetadata()) {
        text += " The size of the parts comes from the metadata " + String(partSizeMetadata) +
                " of the object: either the content or this number is wrong.";
    }
    return makeTransientError(text);
}

int64 findPartSizeInMetadata(const TMap<String, String>& headers) {
    const String value = findHeader(headers, "x-amz-meta-" + String(partSizeMetadata));
    const bool isNumber = !value.isEmpty() && zet::isDigit(value[0]);
    return isNumber ? zet::parseInt64(value, int64{0}) : 0;
}

}  // namespace vexil

#include "vexil/s3/S3ContentDigest.h"

#include "vexil/s3/S3Arguments.h"
#include "vexil/s3/S3Client.h"
#include "vexil/s3/S3ContentMD5.h"
#include "vexil/s3/S3HeaderMap.h"
#include "zet/ParseNumber.h"

#include <algorithm>

namespace vexil {

namespace {

constexpr std::size_t md5Digits = 32;

String withoutQuotes(const String& eTag) {
    const bool isQuoted = eTag.length() >= 2 && eTag.startsWith("\"") && eTag.endsWith("\"");
    return isQuoted ? eTag.substr(1, eTag.length() - 2) : eTag;
}

}  // namespace

CS3ContentDigest::CS3ContentDigest(const TMap<String, String>& headers) : m_headers(headers) {
    const String eTag = withoutQuotes(findHeader(headers, "etag"));
    if (!CS3Client::getContentMD5(headers).isEmpty()) {
        m_check = S3ContentCheck::MD5;
    } else if (eTag.length() > md5Digits + 1 && eTag[md5Digits] == L'-') {
        m_headers["etag"] = eTag.substr(0, md5Digits);
        m_partCount = zet::parseInt64(eTag.substr(md5Digits + 1), int64{0});
        const bool isKnown = m_partCount >= 1 && m_partCount <= maxPartNumber &&
                             !CS3Client::getContentMD5(m_headers).isEmpty();
        m_check = isKnown ? S3ContentCheck::PartMD5s : S3ContentCheck::None;
    }
    if (m_check == S3ContentCheck::None) {
        giveUp();
        return;
    }
    m_md5 = sigil::CDigestType_MD5().createDigest();
    if (m_partCount > 0) {
        m_md5OfParts = sigil::CDigestType_MD5().createDigest();
    }
}

void CS3ContentDigest::setPartSize(int64 partSize, int64 objectSize) {
    if (partSize < 1 || objectSize < 1 || (objectSize - 1) / partSize + 1 != m_partCount) {
        giveUp();
        return;
    }
    m_partSize = partSize;
}

void CS3ContentDigest::update(const void* data, int length) {
    if (m_check == S3ContentCheck::MD5) {
        m_md5->update(data, length);
    }
    if (m_check != S3ContentCheck::PartMD5s) {
        return;
    }
    const char* next = static_cast<const char*>(data);
    while (length > 0) {
        const int count = static_cast<int>(std::min<int64>(length, m_partSize - m_partBytes));
        m_md5->update(next, count);
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
    m_md5->finish(hash);
    m_md5->reset();
    m_md5OfParts->update(hash.getData(), hash.getUsed());
    m_partBytes = 0;
}

void CS3ContentDigest::finish() {
    if (m_check == S3ContentCheck::None) {
        return;
    }
    if (m_partBytes > 0) {
        finishPart();
    }
    verifyContentMD5(m_headers, finishContentMD5(m_check == S3ContentCheck::MD5 ? *m_md5 : *m_md5OfParts));
}

}  // namespace vexil

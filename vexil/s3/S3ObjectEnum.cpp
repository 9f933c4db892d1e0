#include "vexil/s3/S3ObjectEnum.h"

#include "vexil/net/ErrorClassification.h"
#include "vexil/s3/S3Error.h"
#include "vexil/s3/S3ListingText.h"

#include <algorithm>
#include <utility>

namespace vexil {

namespace {

constexpr int statusNotImplemented = 501;
constexpr int maxEmptyPages = 1000;

int countObjects(const CS3ListObjectsResult& page) {
    return static_cast<int>(page.getObjects().size());
}

/// True if the service may have refused an argument that it does not support.
bool isArgumentRefused(const CError& error) {
    const auto* const refusal = dynamic_cast<const CS3Error*>(&error);
    const String code = refusal ? refusal->getS3Code() : String();
    return code == "InvalidArgument" || code == "NotImplemented" ||
           getHTTPStatusCodeFromError(error) == statusNotImplemented;
}

}  // namespace

CS3ObjectEnum::CS3ObjectEnum(CS3Client* client, CNetRequest* request, const String& bucket,
                             const String& prefix, const String& marker, int pageSize)
    : m_client(client), m_request(request), m_bucket(bucket), m_prefix(prefix), m_pageSize(pageSize),
      m_marker(marker) {}

CS3ObjectEnum::~CS3ObjectEnum() = default;

void CS3ObjectEnum::setListVersion(S3ListVersion version) {
    if (version != S3ListVersion::V1 && version != S3ListVersion::V2) {
        throw CInvalidArgError("CS3ObjectEnum::setListVersion", "the version of the listing must be 1 or 2");
    }
    m_listVersion = version;
}

bool CS3ObjectEnum::next() {
    if (m_isEnded) {
        return false;
    }
    if (!m_page) {
        return nextPage();
    }
    // After the last object the index stays, even if loading the next page fails several times.
    if (m_index < countObjects(*m_page)) {
        ++m_index;
    }
    return m_index < countObjects(*m_page) || nextPage();
}

bool CS3ObjectEnum::nextPage() {
    do {
        if (m_page) {
            if (!canGoOn()) {
                m_isEnded = true;
                return false;
            }
            // Not the page's NextMarker: without a delimiter services may send none.
            if (!m_page->getObjects().empty()) {
                m_marker = m_page->getObjects().back()->getKey();
            }
            m_markerBytes = m_page->getLastKeyBytes();
        }
        const P<CS3ListObjectsResult> page = loadPage();
        noticeCircle(*page);
        if (const auto* const pageV2 = dynamic_cast<const CS3ListObjectsV2Result*>(page.get())) {
            checkToken(*pageV2);
            m_token = pageV2->getNextContinuationToken();
        }
        m_page = page;
        m_index = 0;
        // A page whose keys are all unreadable has no objects, but more may follow.
    } while (m_page->getObjects().empty() && canGoOn());
    // An empty page ends the walk even if it claims that more follows: there is no key to continue from.
    m_isEnded = m_page->getObjects().empty();
    return !m_isEnded;
}

void CS3ObjectEnum::noticeCircle(const CS3ListObjectsResult& page) {
    if (!page.isTruncated()) {
        return;
    }
    std::string key = page.getLastKeyBytes();
    if (key.empty() && !page.getObjects().empty()) {
        key = page.getObjects().back()->getKey().toUTF8();
    }
    if (m_keyGuard.isRepeated(key)) {
        throw CError("The listing goes in a circle: it came to the key '" + String::fromUTF8Lossy(key) +
                     "' again.");
    }
}

void CS3ObjectEnum::checkToken(const CS3ListObjectsV2Result& page) {
    const std::string& token = page.getNextContinuationToken();
    if (page.isTruncated() && token.empty()) {
        throw CError("The listing claims that more follows, but has no token to go on with. The service may "
                     "not know version 2 of the listing.");
    }
    if (page.isTruncated() && m_tokenGuard.isRepeated(token)) {
        throw CError("The listing goes in a circle: it came to the same token again.");
    }
    m_emptyPages = page.getObjects().empty() ? m_emptyPages + 1 : 0;
    if (m_emptyPages > maxEmptyPages) {
        throw CError("The listing has more than " + String::fromInt(maxEmptyPages) +
                     " pages without an object.");
    }
}

bool CS3ObjectEnum::canGoOn() const {
    const bool hasPosition = m_listVersion == S3ListVersion::V2 || !m_page->getObjects().empty() ||
                             !m_page->getLastKeyBytes().empty();
    return m_page->isTruncated() && hasPosition;
}

P<CS3ListObjectsResult> CS3ObjectEnum::loadPage() {
    const bool isEncoded = m_hasEncodedKeys || m_listVersion == S3ListVersion::V2;
    const P<CS3ListObjectsResult> page =
        isEncoded ? listEncoded()
                  : m_client->listObjects(*m_request, m_bucket, m_prefix, "", m_marker, m_pageSize);
    if (m_verifiesKeys) {
        verifyPage(*page);
    }
    m_unreadableKeys.insert(m_unreadableKeys.end(), page->getUnreadableNames().begin(),
                            page->getUnreadableNames().end());
    return page;
}

P<CS3ListObjectsResult> CS3ObjectEnum::listEncoded() {
    try {
        return listPage();
    } catch (const CError& error) {
        if (m_page || m_isEncodingRefused || !isArgumentRefused(error)) {
            throw;
        }
    }
    m_isEncodingRefused = true;
    return listPage();
}

P<CS3ListObjectsResult> CS3ObjectEnum::listPage() {
    if (m_listVersion == S3ListVersion::V2) {
        return listPageV2();
    }
    const String escapedMarker =
        m_markerBytes.empty() ? m_request->urlEscape(m_marker) : escapeBytes(m_markerBytes);
    return m_client->listLeniently(*m_request, m_bucket,
                                   {m_prefix, "", escapedMarker, m_pageSize, !m_isEncodingRefused});
}

P<CS3ListObjectsV2Result> CS3ObjectEnum::listPageV2() {
    const std::string startAfter = m_token.empty() ? m_marker.toUTF8() : std::string();
    const P<CS3ListObjectsV2Result> page = m_client->listObjectsV2(
        *m_request, m_bucket, {m_prefix, "", startAfter, m_token, m_pageSize, !m_isEncodingRefused});
    return page;
}

void CS3ObjectEnum::verifyPage(const CS3ListObjectsResult& page) const {
    page.verifyKeys(m_prefix, "", m_marker);
    const std::string& last = page.getLastKeyBytes();
    if (!last.empty() && last <= m_markerBytes) {
        throw CError("The listing has the key '" + String::fromUTF8Lossy(last) + "' after '" +
                     String::fromUTF8Lossy(m_markerBytes) + "', although its names must ascend.");
    }
    if (m_listVersion == S3ListVersion::V1 && page.isTruncated() && page.getObjects().empty() &&
        last.empty()) {
        throw CError("The listing claims that more follows, but has no key to go on from.");
    }
}

TArray<String> CS3ObjectEnum::takeUnreadableKeys() {
    return std::exchange(m_unreadableKeys, {});
}

P<CS3ListObjectsElement> CS3ObjectEnum::getCurrObject() const {
    if (m_isEnded || !m_page || m_index >= countObjects(*m_page)) {
        return nullptr;
    }
    return m_page->getObjects()[static_cast<std::size_t>(m_index)];
}

}  // namespace vexil

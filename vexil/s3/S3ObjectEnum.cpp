#include "vexil/s3/S3ObjectEnum.h"

#include "vexil/net/ErrorClassification.h"
#include "vexil/s3/S3Error.h"
#include "vexil/s3/S3ListingText.h"

#include <algorithm>
#include <utility>

namespace vexil {

namespace {

constexpr int statusNotImplemented = 501;

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
        m_page = page;
        m_index = 0;
        // A page whose keys are all unreadable has no objects, but more may follow.
    } while (m_page->getObjects().empty() && canGoOn());
    // An empty page ends the walk even if it claims that more follows: there is no key to continue from.
    m_isEnded = m_page->getObjects().empty();
    return !m_isEnded;
}

// Brent's cycle detection: compare each page with a remembered key, which is replaced after 1, 2, 4, 8...
// pages.
void CS3ObjectEnum::noticeCircle(const CS3ListObjectsResult& page) {
    if (!page.isTruncated()) {
        return;
    }
    std::string key = page.getLastKeyBytes();
    if (key.empty() && !page.getObjects().empty()) {
        key = page.getObjects().back()->getKey().toUTF8();
    }
    if (!key.empty() && key == m_comparedKey) {
        throw CError("The listing goes in a circle: it came to the key '" + String::fromUTF8Lossy(key) +
                     "' again.");
    }
    if (m_pagesSinceCompared == m_pagesToCompare) {
        m_comparedKey = std::move(key);
        m_pagesToCompare = std::max<int64>(1, 2 * m_pagesToCompare);
        m_pagesSinceCompared = 0;
    }
    ++m_pagesSinceCompared;
}

bool CS3ObjectEnum::canGoOn() const {
    return m_page->isTruncated() && !(m_page->getObjects().empty() && m_page->getLastKeyBytes().empty());
}

P<CS3ListObjectsResult> CS3ObjectEnum::loadPage() {
    const P<CS3ListObjectsResult> page =
        m_hasEncodedKeys ? listEncoded()
                         : m_client->listObjects(*m_request, m_bucket, m_prefix, "", m_marker, m_pageSize);
    if (m_verifiesKeys) {
        verifyPage(*page);
    }
    m_unreadableKeys.insert(m_unreadableKeys.end(), page->getUnreadableNames().begin(),
                            page->getUnreadableNames().end());
    return page;
}

P<CS3ListObjectsResult> CS3ObjectEnum::listEncoded() {
    const String escapedMarker =
        m_markerBytes.empty() ? m_request->urlEscape(m_marker) : escapeBytes(m_markerBytes);
    const auto list = [&] {
        return m_client->listLeniently(*m_request, m_bucket,
                                       {m_prefix, "", escapedMarker, m_pageSize, !m_isEncodingRefused});
    };
    try {
        return list();
    } catch (const CError& error) {
        if (m_page || m_isEncodingRefused || !isArgumentRefused(error)) {
            throw;
        }
    }
    m_isEncodingRefused = true;
    return list();
}

void CS3ObjectEnum::verifyPage(const CS3ListObjectsResult& page) const {
    page.verifyKeys(m_prefix, "", m_marker);
    const std::string& last = page.getLastKeyBytes();
    if (!last.empty() && last <= m_markerBytes) {
        throw CError("The listing has the key '" + String::fromUTF8Lossy(last) + "' after '" +
                     String::fromUTF8Lossy(m_markerBytes) + "', although its names must ascend.");
    }
    if (page.isTruncated() && page.getObjects().empty() && last.empty()) {
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

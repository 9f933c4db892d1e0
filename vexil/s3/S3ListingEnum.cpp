#include "vexil/s3/S3ListingEnum.h"

#include <utility>

namespace vexil {

namespace {

constexpr int maxEmptyPages = 1000;

}  // namespace

CS3ListingEnum::CS3ListingEnum(CS3Client* client, CNetRequest* request, const String& bucket,
                               const CS3ListingQuery& query)
    : m_client(client), m_request(request), m_bucket(bucket), m_query(query) {}

CS3ListingEnum::~CS3ListingEnum() = default;

bool CS3ListingEnum::next() {
    if (m_isEnded) {
        return false;
    }
    // After the last entry the index stays, even if loading the next page fails several times.
    if (m_page && m_index < m_page->getCount()) {
        ++m_index;
    }
    while (!m_page || m_index >= m_page->getCount()) {
        if (!loadNextPage()) {
            m_isEnded = true;
            return false;
        }
    }
    return true;
}

bool CS3ListingEnum::loadNextPage() {
    if (m_page && !m_page->isTruncated()) {
        return false;
    }
    CS3ListingQuery query = m_query;
    if (m_page) {
        query.keyMarker = m_page->getNextKeyMarker();
        query.idMarker = m_page->getNextIdMarker();
    }
    const P<CS3ListingPage> page = loadPage(query);
    checkPage(*page);
    m_page = page;
    m_index = 0;
    const TArray<String>& names = page->getUnreadableNames();
    m_unreadableKeys.insert(m_unreadableKeys.end(), names.begin(), names.end());
    return true;
}

void CS3ListingEnum::checkPage(const CS3ListingPage& page) {
    for (std::size_t i = 0; i < page.getCount(); ++i) {
        if (!page.getKey(i).startsWith(m_query.prefix)) {
            throw CError("The listing has the key '" + page.getKey(i) + "', which does not begin with '" +
                         m_query.prefix + "'.");
        }
    }
    if (!page.isTruncated()) {
        return;
    }
    const std::string& key = page.getNextKeyMarker();
    if (key.empty()) {
        throw CError("The listing claims that more follows, but has no key to go on from.");
    }
    if (m_guard.isRepeated(key + '\0' + page.getNextIdMarker())) {
        throw CError("The listing goes in a circle: it came to the key '" + String::fromUTF8Lossy(key) +
                     "' again.");
    }
    m_emptyPages = page.getCount() == 0 ? m_emptyPages + 1 : 0;
    if (m_emptyPages > maxEmptyPages) {
        throw CError("The listing has more than " + String::fromInt(maxEmptyPages) +
                     " pages without an entry.");
    }
}

const CS3ListingPage* CS3ListingEnum::getPage() const noexcept {
    return !m_isEnded && m_page && m_index < m_page->getCount() ? m_page.get() : nullptr;
}

TArray<String> CS3ListingEnum::takeUnreadableKeys() {
    return std::exchange(m_unreadableKeys, {});
}

}  // namespace vexil

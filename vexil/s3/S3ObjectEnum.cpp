#include "vexil/s3/S3ObjectEnum.h"

namespace vexil {

namespace {

int countObjects(const CS3ListObjectsResult& page) {
    return static_cast<int>(page.getObjects().size());
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
    // Once behind the page it stays there, however often loading the following one fails.
    if (m_index < countObjects(*m_page)) {
        ++m_index;
    }
    return m_index < countObjects(*m_page) || nextPage();
}

bool CS3ObjectEnum::nextPage() {
    if (m_page) {
        if (!m_page->isTruncated() || m_page->getObjects().empty()) {
            m_isEnded = true;
            return false;
        }
        // Not the page's NextMarker: without a delimiter services may send none.
        m_marker = m_page->getObjects().back()->getKey();
    }
    const P<CS3ListObjectsResult> page =
        m_client->listObjects(*m_request, m_bucket, m_prefix, "", m_marker, m_pageSize);
    if (m_verifiesKeys) {
        verifyPage(*page);
    }
    m_page = page;
    m_index = 0;
    // An empty page ends it even if it claims that more follows: there is no key to go on from.
    m_isEnded = m_page->getObjects().empty();
    return !m_isEnded;
}

void CS3ObjectEnum::verifyPage(const CS3ListObjectsResult& page) const {
    page.verifyKeys(m_prefix, "", m_marker);
    if (page.isTruncated() && page.getObjects().empty()) {
        throw CError("The listing claims that more follows, but has no key to go on from.");
    }
}

P<CS3ListObjectsElement> CS3ObjectEnum::getCurrObject() const {
    if (m_isEnded || !m_page || m_index >= countObjects(*m_page)) {
        return nullptr;
    }
    return m_page->getObjects()[static_cast<std::size_t>(m_index)];
}

}  // namespace vexil

#include "vexil/net/RequestBody.h"

#include <algorithm>
#include <cstdio>
#include <utility>

namespace vexil {

// ---- source ----------------------------------------------------------------------------------------------

void CRequestBody::setSource(CNetRequest::IDataSource* source, IBase* keepAlive) {
    // Kept first: it may be an object that only the old source refers to.
    const P<IBase> next = keepAlive;
    m_source = source;
    m_keepAlive = next;
    if (m_postBody) {
        m_postBody->setSource();
    }
}

void CRequestBody::dropSource() {
    m_keepAlive = nullptr;
    m_source = nullptr;
}

void CRequestBody::setSize(int64 size, bool isPost) {
    m_curl.setInt64(CURLOPT_INFILESIZE_LARGE, size);
    if (m_postBody) {
        m_postBody->onDataSizeSet();
    }
    if (isPost) {
        setPostDataSize(size);
    }
    m_size = size;
}

void CRequestBody::reset() {
    m_postBody = nullptr;
    m_size = -1;
}

void CRequestBody::rewind() {
    m_position = 0;
    // It may remove itself from the request.
    const P<CNetRequest::IDataSource> source = m_source;
    if (source && source->getPosition() != 0) {
        source->seek(0);
    }
}

int CRequestBody::read(void* buffer, int maxLength, const TMap<String, String>& responseHeaders,
                       bool isHTTP) {
    // It may remove itself from the request.
    const P<CNetRequest::IDataSource> source = m_source;
    const int length = source->read(buffer, maxLength, responseHeaders);
    if (length == CURL_READFUNC_ABORT || length == CURL_READFUNC_PAUSE) {
        return length;
    }
    if (length < 0 || length > maxLength) {
        throw CError("The data source returned " + String::fromInt(length) + " bytes where 0 to " +
                     String::fromInt(maxLength) + " were asked for.");
    }
    return isHTTP ? cutToSize(length) : length;
}

int CRequestBody::cutToSize(int length) noexcept {
    // libcurl sends all that it gets, even beyond the announced Content-Length: the server would take the
    // rest for the next request.
    if (m_size < 0) {
        return length;
    }
    const int sent = static_cast<int>(std::clamp<int64>(m_size - m_position, 0, length));
    m_position += sent;
    return sent;
}

bool CRequestBody::seek(int64 offset, int origin) {
    // It may remove itself from the request.
    const P<CNetRequest::IDataSource> source = m_source;
    switch (origin) {
    case SEEK_SET:
        moveSource(*source, offset);
        return true;
    case SEEK_CUR:
        moveSource(*source, offset + source->getPosition());
        return true;
    case SEEK_END: {
        const int64 size = source->getSize();
        if (size == -1) {
            return false;
        }
        moveSource(*source, offset + size);
        return true;
    }
    default:
        return false;
    }
}

void CRequestBody::moveSource(CNetRequest::IDataSource& source, int64 position) {
    source.seek(position);
    m_position = position;
}

// ---- a body given as an option ---------------------------------------------------------------------------

CPostBody& CRequestBody::getPostBody() {
    if (!m_postBody) {
        m_postBody = new CPostBody;
    }
    return *m_postBody;
}

void CRequestBody::setOnPost() {
    m_curl.setInt(CURLOPT_POST, 1);
    onOptionSet(CURLOPT_POST, true);
}

void CRequestBody::setPostText(std::string text) {
    CPostBody& body = getPostBody();
    setOnPost();
    body.setText(std::move(text), hasSource());
}

void CRequestBody::setPostMemory(const void* memory, bool isPost) {
    CPostBody& body = getPostBody();
    setOnPost();
    if (body.isText()) {
        body.setWantedSize(isPost ? m_size : -1);
    }
    body.setMemory(memory);
}

void CRequestBody::copyPostMemory(const char* memory, bool isPost) {
    if (!memory) {
        setPostMemory(nullptr, isPost);
        return;
    }
    const int64 ownSize = getPostBody().getOwnSize();
    const int64 size = ownSize < 0 && isPost ? m_size : ownSize;
    setPostText(size < 0 ? std::string(memory) : std::string(memory, static_cast<std::size_t>(size)));
}

void CRequestBody::setPostSize(CURLoption option, int64 size) {
    // Only libcurl checks the number. It gets the size of the body before the transfer.
    if (option == CURLOPT_POSTFIELDSIZE) {
        m_curl.setOption(option, static_cast<long>(size));
    } else {
        m_curl.setOption(option, static_cast<curl_off_t>(size));
    }
    getPostBody().setOwnSize(size);
}

void CRequestBody::setPostDataSize(int64 size) {
    m_curl.setOption(CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(size));
    if (m_postBody) {
        m_postBody->setWantedDataSize(size);
    }
}

void CRequestBody::onOptionSet(CURLoption option, bool isOn) noexcept {
    if (m_postBody) {
        m_postBody->onOptionSet(option, isOn);
    }
}

void CRequestBody::handOverPostBody(bool isPost) {
    if (!m_postBody || !m_postBody->isPost()) {
        return;
    }
    const bool isChanged = m_postBody->isChanged();
    if (isChanged) {
        m_curl.setOption(CURLOPT_POSTFIELDS, m_postBody->getData());
        m_postBody->onHandedOver();
    }
    if (m_postBody->getData()) {
        m_curl.setOption(CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(m_postBody->getSize()));
    } else if (m_postBody->isReplaced() && (isChanged || !isPost)) {
        m_curl.setOption(CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(m_size));
    }
}

}  // namespace vexil

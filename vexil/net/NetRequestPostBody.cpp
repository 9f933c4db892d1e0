#include "vexil/net/NetRequest.h"
#include "vexil/net/NetRequestOption.h"
#include "vexil/net/PostBody.h"

#include <string>
#include <utility>

namespace vexil {

CPostBody& CNetRequest::getPostBody() {
    if (!m_postBody) {
        m_postBody = new CPostBody;
    }
    return *m_postBody;
}

void CNetRequest::setPostText(std::string text) {
    CPostBody& body = getPostBody();
    setOptionInt(CURLOPT_POST, 1);
    body.setText(std::move(text), m_sendSource.get() != nullptr);
}

void CNetRequest::setPostMemory(const void* memory) {
    CPostBody& body = getPostBody();
    setOptionInt(CURLOPT_POST, 1);
    if (body.isText()) {
        body.setWantedSize(m_httpMethod == "POST" ? m_sendDataSize : -1);
    }
    body.setMemory(memory);
}

void CNetRequest::copyPostMemory(const char* memory) {
    if (!memory) {
        setPostMemory(nullptr);
        return;
    }
    const int64 ownSize = getPostBody().getOwnSize();
    const int64 size = ownSize < 0 && m_httpMethod == "POST" ? m_sendDataSize : ownSize;
    setPostText(size < 0 ? std::string(memory) : std::string(memory, static_cast<std::size_t>(size)));
}

void CNetRequest::setPostSize(CURLoption option, int64 size) {
    // libcurl judges the number. What it is told of a body follows before the transfer.
    if (option == CURLOPT_POSTFIELDSIZE) {
        setOption(option, static_cast<long>(size));
    } else {
        setOption(option, static_cast<curl_off_t>(size));
    }
    getPostBody().setOwnSize(size);
}

void CNetRequest::setPostDataSize(int64 size) {
    setOption(CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(size));
    if (m_postBody) {
        m_postBody->setWantedDataSize(size);
    }
}

void CNetRequest::handOverPostBody() {
    if (!m_postBody || !m_postBody->isPost()) {
        return;
    }
    const bool isChanged = m_postBody->isChanged();
    if (isChanged) {
        setOption(CURLOPT_POSTFIELDS, m_postBody->getData());
        m_postBody->onHandedOver();
    }
    if (m_postBody->getData()) {
        setOption(CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(m_postBody->getSize()));
    } else if (m_postBody->isReplaced() && (isChanged || m_httpMethod != "POST")) {
        setOption(CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(m_sendDataSize));
    }
}

}  // namespace vexil

#include "vexil/net/PostBody.h"

#include <algorithm>
#include <utility>

namespace vexil {

void CPostBody::setBody(Kind kind, const void* data) noexcept {
    m_kind = kind;
    m_data = data;
    m_isReplaced = false;
    m_isChanged = true;
}

void CPostBody::setText(std::string text, bool isSizeForSource) {
    m_texts.push_back(std::move(text));
    setBody(Kind::Text, m_texts.back().c_str());
    m_isSizeForSource = isSizeForSource;
    m_wantedSize = -1;
}

void CPostBody::setMemory(const void* memory) noexcept {
    if (!memory) {
        setSource();
        return;
    }
    setBody(Kind::Memory, memory);
    m_isSizeForSource = false;
}

void CPostBody::setSource() noexcept {
    if (m_kind != Kind::None) {
        setBody(Kind::None, nullptr);
        m_isReplaced = true;
    }
}

void CPostBody::onHandedOver() {
    m_isChanged = false;
    m_texts.remove_if([this](const std::string& text) { return text.c_str() != m_data; });
}

void CPostBody::setOwnSize(int64 size) noexcept {
    m_ownSize = size;
    m_wantedSize = size;
}

int64 CPostBody::getLength() const noexcept {
    switch (m_kind) {
    case Kind::Text:
        return static_cast<int64>(m_texts.back().size());
    case Kind::Memory:
        return m_ownSize;
    default:
        return -1;
    }
}

int64 CPostBody::getSize() const noexcept {
    const int64 length = getLength();
    if (length < 0) {
        return m_wantedSize;
    }
    return m_wantedSize < 0 ? length : std::min(m_wantedSize, length);
}

void CPostBody::onOptionSet(CURLoption option, bool isOn) noexcept {
    switch (option) {
    case CURLOPT_POST:
        m_isPost = isOn;
        break;
    case CURLOPT_HTTPGET:
    case CURLOPT_NOBODY:
        m_isPost = m_isPost && !isOn;
        break;
    case CURLOPT_UPLOAD:
    case CURLOPT_PUT:
    case CURLOPT_HTTPPOST:
    case CURLOPT_MIMEPOST:
        m_isPost = false;
        break;
    default:
        break;
    }
}

}  // namespace vexil

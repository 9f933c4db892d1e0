#include "vexil/net/ResponseBody.h"

#include <limits>
#include <utility>

namespace vexil {

CResponseBody::CResponseBody()
    : m_buffer(new TBuffer<unsigned char>), m_stream(new zet::CBufferStream(m_buffer)),
      m_defaultSink(new CNetRequest::CStreamDataSink(m_stream)), m_sink(m_defaultSink) {}

void CResponseBody::setSink(CNetRequest::IDataSink* sink) {
    // Released last: it may use the request.
    const P<CNetRequest::IDataSink> old = std::exchange(m_sink, sink);
    m_restartableSink =
        sink == m_defaultSink.get() ? nullptr : dynamic_cast<CNetRequest::IRestartableDataSink*>(sink);
}

void CResponseBody::setLimits(int64 success, int64 failure) noexcept {
    m_maxSuccessBytes = success;
    m_maxFailureBytes = failure;
}

void CResponseBody::begin() {
    m_stream->seek(0);
    m_buffer->setUsed(0);
    if (m_restartableSink) {
        // It may remove itself from the request.
        const P<CNetRequest::IDataSink> sink = m_sink;
        m_restartableSink->restart();
    }
}

bool CResponseBody::isTooLarge(int64 size, bool isSuccess) const noexcept {
    const bool hasLimit = (isSuccess ? m_maxSuccessBytes : m_maxFailureBytes) >= 0;
    return !hasLimit && size > std::numeric_limits<int>::max();
}

bool CResponseBody::isBeyondALimit() const noexcept {
    return isBeyond(m_maxSuccessBytes) || isBeyond(m_maxFailureBytes);
}

bool CResponseBody::applyLimit(bool isSuccess) {
    if (isSuccess) {
        if (isBeyond(m_maxSuccessBytes)) {
            throw CError("The body of the response is longer than " + String::fromInt(m_maxSuccessBytes) +
                         " bytes.");
        }
        return false;
    }
    m_isCut = isBeyond(m_maxFailureBytes);
    if (m_isCut) {
        m_buffer->setUsed(static_cast<int>(m_maxFailureBytes));
    }
    return m_isCut;
}

}  // namespace vexil

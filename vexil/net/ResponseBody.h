#pragma once

#include "vexil/BaseTypes.h"
#include "vexil/net/NetRequest.h"
#include "zet/BufferStream.h"

namespace vexil {

/// Where the response body goes: the caller's sink, or the request's own buffer with its limits. One thread
/// at a time.
class CResponseBody {
public:
    CResponseBody();

    /// Null drops the body.
    void setSink(CNetRequest::IDataSink* sink);
    void setDefaultSink() { setSink(m_defaultSink); }
    const P<CNetRequest::IDataSink>& getSink() const noexcept { return m_sink; }
    const P<CNetRequest::IDataSink>& getDefaultSink() const noexcept { return m_defaultSink; }
    bool usesDefaultSink() const noexcept { return m_sink.get() == m_defaultSink.get(); }
    /// The request's own buffer.
    const P<TBuffer<unsigned char>>& getBuffer() const noexcept { return m_buffer; }
    /// See CNetRequest::setReceiveBufferLimits().
    void setLimits(int64 success, int64 failure) noexcept;

    /// A transfer begins: the last one's body was not cut.
    void forgetCut() noexcept { m_isCut = false; }
    /// Empties the buffer and restarts the sink.
    void begin();

    /// Whether the next bytes are the first ones in the buffer.
    bool isAtBeginning() const noexcept { return usesDefaultSink() && m_buffer->getUsed() == 0; }
    /// Whether a body of so many bytes would be taken into the buffer as a whole, and it cannot hold them.
    /// \param isSuccess  whether the response has such a status
    bool isTooLarge(int64 size, bool isSuccess) const noexcept;
    /// Whether the buffer has more bytes than one of the limits allows.
    bool isBeyondALimit() const noexcept;
    /// Checks the limit of a response with such a status. Cuts the body at the limit for a failure.
    /// \return whether the body was cut
    /// \throws CError if a successful response is longer than its limit
    bool applyLimit(bool isSuccess);
    /// Whether the body of a failure was cut.
    bool isCut() const noexcept { return m_isCut; }

private:
    bool isBeyond(int64 limit) const noexcept { return limit >= 0 && m_buffer->getUsed() > limit; }

    const P<TBuffer<unsigned char>> m_buffer;
    const P<zet::CBufferStream> m_stream;
    const P<CNetRequest::IDataSink> m_defaultSink;
    P<CNetRequest::IDataSink> m_sink;
    CNetRequest::IRestartableDataSink* m_restartableSink = nullptr;  // m_sink if it is one
    int64 m_maxSuccessBytes = -1;
    int64 m_maxFailureBytes = -1;
    bool m_isCut = false;
};

}  // namespace vexil

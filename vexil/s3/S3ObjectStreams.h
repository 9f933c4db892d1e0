/// \file
/// How bodies of objects pass between streams and requests, so that a repeated transfer does no harm.
#pragma once

#include "sigil/Digest.h"
#include "vexil/BaseTypes.h"
#include "vexil/net/NetRequest.h"
#include "zet/InStream.h"
#include "zet/OutStream.h"

namespace vexil {

/// A part of an object, or the whole of it.
struct CS3ObjectRange {
    int64 offset;  ///< first byte, from 0
    int64 length;  ///< bytes; -1 for all from `offset` on

    bool isWhole() const noexcept { return offset == 0 && length == -1; }
};

/// A piece of a stream as the source of a body: `size` bytes from where the stream stood. Positions count
/// from there.
class CS3ObjectSource : public virtual CBase, public CNetRequest::IDataSource {
public:
    CS3ObjectSource(zet::IInStream* stream, int64 size);
    ~CS3ObjectSource() override;

    /// \throws CError when the stream has less than `size` bytes
    int read(void* buffer, int maxLength, const TMap<String, String>& responseHeaders) override;
    int64 getSize() override { return m_size; }
    void seek(int64 position) override;
    int64 getPosition() override { return m_position; }

private:
    P<zet::IInStream> m_stream;
    int64 m_start;
    int64 m_size;
    int64 m_position = 0;
};

/// A sink over a stream that takes only what belongs to the object.
///
/// Bodies of other than successful answers go to a second sink. A restarted transfer begins where the stream
/// stood at first.
class CS3ObjectSink : public virtual CBase, public CNetRequest::IRestartableDataSink {
public:
    /// \param errorSink  for bodies of other responses
    /// \param range      what was asked for: a response with anything else is an error
    /// \param digest     computes a hash of what is written; null for none
    CS3ObjectSink(zet::IOutStream* stream, CNetRequest::IDataSink* errorSink, const CS3ObjectRange& range,
                  const P<sigil::IDigest>& digest);
    ~CS3ObjectSink() override;

    void write(const void* data, int length, int httpStatus,
               const TMap<String, String>& responseHeaders) override;
    void restart() override;

    /// Throws a CError when a response of success is not about the range that was asked for.
    void checkRange(int httpStatus, const TMap<String, String>& responseHeaders) const;
    /// The same for a response that has ended: also when it had not as many bytes as its range.
    void checkWholeRange(int httpStatus, const TMap<String, String>& responseHeaders) const;

    /// Bytes that the last transfer has written to the stream.
    int64 getWrittenBytes() const noexcept { return m_writtenBytes; }
    /// Bytes that the last transfer has given to the other sink, because no status of success stood before them.
    int64 getRefusedBytes() const noexcept { return m_refusedBytes; }

private:
    P<zet::IOutStream> m_stream;
    P<CNetRequest::IDataSink> m_errorSink;
    CS3ObjectRange m_range;
    P<sigil::IDigest> m_digest;
    int64 m_start;
    int64 m_writtenBytes = 0;
    int64 m_refusedBytes = 0;
};

}  // namespace vexil

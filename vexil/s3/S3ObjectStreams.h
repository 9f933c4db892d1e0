/// \file
/// Writes the bodies of objects to streams, so that a transfer can be repeated.
#pragma once

#include "sigil/Digest.h"
#include "vexil/BaseTypes.h"
#include "vexil/net/NetRequest.h"
#include "zet/OutStream.h"

namespace vexil {

/// A part of an object, or the whole of it.
struct CS3ObjectRange {
    int64 offset;  ///< first byte, from 0
    int64 length;  ///< bytes; -1: up to the end

    bool isWhole() const noexcept { return offset == 0 && length == -1; }
};

/// A sink that writes the content of an object to a stream.
///
/// Bodies of unsuccessful responses go to a second sink. A restarted transfer begins again at the stream's
/// position at construction.
class CS3ObjectSink : public virtual CBase, public CNetRequest::IRestartableDataSink {
public:
    /// \param errorSink  for bodies of unsuccessful responses
    /// \param range      the requested range: a response with another range is an error
    /// \param digest     computes a hash of the written bytes; null for no hash
    CS3ObjectSink(zet::IOutStream* stream, CNetRequest::IDataSink* errorSink, const CS3ObjectRange& range,
                  const P<sigil::IDigest>& digest);
    ~CS3ObjectSink() override;

    void write(const void* data, int length, int httpStatus,
               const TMap<String, String>& responseHeaders) override;
    void restart() override;

    /// Throws a CError if a successful response does not have the requested range.
    void checkRange(int httpStatus, const TMap<String, String>& responseHeaders) const;
    /// The same for a response that has ended: also throws if it does not have as many bytes as its range.
    void checkWholeRange(int httpStatus, const TMap<String, String>& responseHeaders) const;

    /// Bytes that the last transfer has written to the stream.
    int64 getWrittenBytes() const noexcept { return m_writtenBytes; }
    /// Bytes that the last transfer has given to the other sink, because the status was not a success.
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

/// \file
/// How bodies of objects pass between streams and requests, so that a repeated transfer does no harm.
#pragma once

#include "vexil/BaseTypes.h"
#include "vexil/net/NetRequest.h"
#include "zet/InStream.h"
#include "zet/OutStream.h"

namespace vexil {

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
    /// \param errorSink  for bodies of other answers
    /// \param isRange    a part was asked for: an answer with the whole object (status 200) is an error
    CS3ObjectSink(zet::IOutStream* stream, CNetRequest::IDataSink* errorSink, bool isRange);
    ~CS3ObjectSink() override;

    void write(const void* data, int length, int httpStatus,
               const TMap<String, String>& responseHeaders) override;
    void restart() override;

    /// Throws a CError when the status of a range's answer tells that it is no range.
    void checkStatus(int httpStatus) const;

    /// Bytes that the last transfer has written to the stream.
    int64 getWrittenBytes() const noexcept { return m_writtenBytes; }
    /// Bytes that the last transfer has given to the other sink, because no status of success stood before them.
    int64 getRefusedBytes() const noexcept { return m_refusedBytes; }

private:
    P<zet::IOutStream> m_stream;
    P<CNetRequest::IDataSink> m_errorSink;
    bool m_isRange;
    int64 m_start;
    int64 m_writtenBytes = 0;
    int64 m_refusedBytes = 0;
};

}  // namespace vexil

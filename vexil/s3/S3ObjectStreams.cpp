#include "vexil/s3/S3ObjectStreams.h"

#include <algorithm>

namespace vexil {

namespace {

constexpr int statusPartialContent = 206;

}  // namespace

CS3ObjectSource::CS3ObjectSource(zet::IInStream* stream, int64 size)
    : m_stream(stream), m_start(stream->getPosition()), m_size(size) {}

CS3ObjectSource::~CS3ObjectSource() = default;

int CS3ObjectSource::read(void* buffer, int maxLength, const TMap<String, String>&) {
    const int wanted = static_cast<int>(std::min<int64>(maxLength, m_size - m_position));
    if (wanted <= 0) {
        return 0;
    }
    const int length = m_stream->read(buffer, wanted);
    if (length < 0 || length > wanted) {
        throw CError("The stream returned " + String::fromInt(length) + " bytes where 0 to " +
                     String::fromInt(wanted) + " were asked for.");
    }
    if (length == 0) {
        throw CError("The stream ends after " + String::fromInt(m_position) + " of the " +
                     String::fromInt(m_size) + " bytes of the object.");
    }
    m_position += length;
    return length;
}

void CS3ObjectSource::seek(int64 position) {
    if (position < 0 || position > m_size) {
        throw CError("The position is outside the object.");
    }
    m_stream->seek(m_start + position);
    m_position = position;
}

CS3ObjectSink::CS3ObjectSink(zet::IOutStream* stream, CNetRequest::IDataSink* errorSink, bool isRange)
    : m_stream(stream), m_errorSink(errorSink), m_isRange(isRange), m_start(stream->getPosition()) {}

CS3ObjectSink::~CS3ObjectSink() = default;

void CS3ObjectSink::write(const void* data, int length, int httpStatus,
                          const TMap<String, String>& responseHeaders) {
    if (httpStatus < 200 || httpStatus > 299) {
        m_refusedBytes += length;
        m_errorSink->write(data, length, httpStatus, responseHeaders);
        return;
    }
    checkStatus(httpStatus);
    // Counted first: a write that fails may have moved the stream.
    m_writtenBytes += length;
    m_stream->write(data, length);
}

void CS3ObjectSink::checkStatus(int httpStatus) const {
    if (m_isRange && httpStatus != statusPartialContent) {
        throw CError("The server answered the request for a part of the object with status " +
                     String::fromInt(httpStatus) + " instead of " + String::fromInt(statusPartialContent) +
                     ".");
    }
}

void CS3ObjectSink::restart() {
    m_refusedBytes = 0;
    // A stream that has got nothing need not be able to seek.
    if (m_writtenBytes > 0) {
        m_stream->seek(m_start);
        m_writtenBytes = 0;
    }
}

}  // namespace vexil

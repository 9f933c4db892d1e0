#include "vexil/s3/S3ObjectStreams.h"

#include "vexil/net/ErrorClassification.h"
#include "vexil/net/HTTPContentRange.h"

namespace vexil {

namespace {

constexpr int statusPartialContent = 206;

P<CHTTPContentRange> findContentRange(const TMap<String, String>& headers) {
    const auto found = headers.find("content-range");
    return found == headers.end() ? nullptr : CHTTPContentRange::parse(found->second);
}

/// A range that reaches beyond the end of the object ends with the object.
bool fits(const CHTTPContentRange& received, const CS3ObjectRange& wanted) {
    const int64 total = received.getEntireContentSize();
    const int64 wantedLast = wanted.length == -1 ? -1 : wanted.offset + wanted.length - 1;
    const bool endsWithObject = total == -1 || received.getLast() == total - 1;
    const bool isEndRight = wantedLast == -1
                                ? endsWithObject
                                : received.getLast() == wantedLast ||
                                      (received.getLast() < wantedLast && endsWithObject && total != -1);
    return received.getUnit() == "bytes" && received.getFirst() == wanted.offset &&
           received.getLast() >= received.getFirst() && isEndRight;
}

String describe(const CS3ObjectRange& range) {
    const String first = "bytes from " + String::fromInt(range.offset) + " ";
    return range.length == -1 ? first + "on"
                              : first + "to " + String::fromInt(range.offset + range.length - 1);
}

}  // namespace

CS3ObjectSink::CS3ObjectSink(zet::IOutStream* stream, CNetRequest::IDataSink* errorSink,
                             const CS3ObjectRange& range, const P<sigil::IDigest>& digest)
    : m_stream(stream), m_errorSink(errorSink), m_range(range), m_digest(digest),
      m_start(stream->getPosition()) {}

CS3ObjectSink::~CS3ObjectSink() = default;

void CS3ObjectSink::write(const void* data, int length, int httpStatus,
                          const TMap<String, String>& responseHeaders) {
    if (httpStatus < 200 || httpStatus > 299) {
        m_refusedBytes += length;
        m_errorSink->write(data, length, httpStatus, responseHeaders);
        return;
    }
    if (m_writtenBytes == 0) {
        checkRange(httpStatus, responseHeaders);
    }
    // Count before writing: a failed write may have moved the stream.
    m_writtenBytes += length;
    m_stream->write(data, length);
    if (m_digest) {
        m_digest->update(data, length);
    }
}

void CS3ObjectSink::checkRange(int httpStatus, const TMap<String, String>& responseHeaders) const {
    const bool isPart = httpStatus == statusPartialContent;
    if (m_range.isWhole()) {
        if (isPart) {
            throw CError("The server responded to the request for the whole object with a part of it.");
        }
        return;
    }
    if (!isPart) {
        throw CError("The server responded to the request for a part of the object with status " +
                     String::fromInt(httpStatus) + " instead of " + String::fromInt(statusPartialContent) +
                     ".");
    }
    const P<CHTTPContentRange> received = findContentRange(responseHeaders);
    if (!received || !fits(*received, m_range)) {
        throw CError(
            "The server responded to the request for " + describe(m_range) + " of the object with " +
            (received ? "'" + responseHeaders.at("content-range") + "'" : String("no Content-Range")) + ".");
    }
}

void CS3ObjectSink::checkWholeRange(int httpStatus, const TMap<String, String>& responseHeaders) const {
    checkRange(httpStatus, responseHeaders);
    if (m_range.isWhole()) {
        return;
    }
    const P<CHTTPContentRange> received = findContentRange(responseHeaders);
    const int64 announcedBytes = received->getLast() - received->getFirst() + 1;
    if (m_writtenBytes != announcedBytes) {
        throw makeTransientError("Received " + String::fromInt(m_writtenBytes) + " of the " +
                                 String::fromInt(announcedBytes) + " bytes of the range.");
    }
}

void CS3ObjectSink::restart() {
    m_refusedBytes = 0;
    if (m_digest) {
        m_digest->reset();
    }
    // A stream that has received nothing need not be able to seek.
    if (m_writtenBytes > 0) {
        m_stream->seek(m_start);
        m_writtenBytes = 0;
    }
}

}  // namespace vexil

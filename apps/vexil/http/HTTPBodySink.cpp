#include "apps/vexil/http/HTTPBodySink.h"

namespace vexil::app {

CHTTPBodySink::CHTTPBodySink(zet::IOutStream* stream, CNetRequest::IDataSink* errorSink)
    : m_stream(stream), m_errorSink(errorSink) {}

CHTTPBodySink::~CHTTPBodySink() = default;

void CHTTPBodySink::write(const void* data, int length, int httpStatus,
                          const TMap<String, String>& responseHeaders) {
    // Other protocols than HTTP have the status -1.
    if (httpStatus == -1 || (httpStatus >= 200 && httpStatus <= 299)) {
        m_stream->write(data, length);
    } else {
        m_errorSink->write(data, length, httpStatus, responseHeaders);
    }
}

}  // namespace vexil::app

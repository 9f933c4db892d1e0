#pragma once

#include "vexil/net/NetRequest.h"
#include "zet/OutStream.h"

namespace vexil::app {

/// Writes the body of a successful response to one stream and every other body to another sink, so that an
/// error page becomes part of the error and not of the file.
class CHTTPBodySink : public virtual CBase, public CNetRequest::IDataSink {
public:
    CHTTPBodySink(zet::IOutStream* stream, CNetRequest::IDataSink* errorSink);
    ~CHTTPBodySink() override;

    void write(const void* data, int length, int httpStatus,
               const TMap<String, String>& responseHeaders) override;

private:
    P<zet::IOutStream> m_stream;
    P<CNetRequest::IDataSink> m_errorSink;
};

}  // namespace vexil::app

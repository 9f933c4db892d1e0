#pragma once

#include "vexil/net/NetRequest.h"
#include "zet/OutStream.h"

namespace vexil::app {

/// Lets the body of a successful answer into a stream and any other body into another sink, so that an error
/// page ends up in the error and not in the file.
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

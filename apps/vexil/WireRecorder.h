#pragma once

#include "vexil/net/NetRequest.h"

namespace vexil::app {

/// Lets a request record libcurl's messages for its verbose log, but of the data of a transfer only the first 64 kB: the
/// log would otherwise hold the whole of it in memory.
class CWireRecorder : public virtual CBase {
public:
    /// The request must outlive it.
    explicit CWireRecorder(CNetRequest& request) : m_request(request) {}

    /// Makes the request record, until it is reset. It must keep the recorder.
    void start();
    /// To be called between two transfers.
    void forget() noexcept;
    /// Bytes of body of the last transfer that were not recorded.
    int64 getLeftOutBytes() const noexcept { return m_leftOut; }

private:
    static int onMessage(void* handle, curl_infotype type, char* data, std::size_t size,
                         void* recorder) noexcept;
    bool takes(curl_infotype type, std::size_t size) noexcept;

    CNetRequest& m_request;
    int64 m_recorded = 0;
    int64 m_leftOut = 0;
};

}  // namespace vexil::app

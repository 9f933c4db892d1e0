#include "apps/vexil/WireRecorder.h"

namespace vexil::app {

namespace {

constexpr int64 maxRecordedBytes = 65536;
constexpr int64 bytesOfMessage = 100;  // beside its text: a TLS record may have but five

bool isData(curl_infotype type) {
    return type == CURLINFO_DATA_IN || type == CURLINFO_DATA_OUT;
}

bool isTLSData(curl_infotype type) {
    return type == CURLINFO_SSL_DATA_IN || type == CURLINFO_SSL_DATA_OUT;
}

}  // namespace

void CWireRecorder::start() {
    forget();
    m_request.setVerbose(true);
    m_request.setOptionPtr(CURLOPT_DEBUGFUNCTION, reinterpret_cast<void*>(&CWireRecorder::onMessage));
    m_request.setOptionPtr(CURLOPT_DEBUGDATA, this);
}

void CWireRecorder::forget() noexcept {
    m_recorded = 0;
    m_leftOut = 0;
}

int CWireRecorder::onMessage(void* handle, curl_infotype type, char* data, std::size_t size,
                             void* recorder) noexcept {
    auto& self = *static_cast<CWireRecorder*>(recorder);
    return self.takes(type, size)
               ? CNetRequest::_curlDebugFunctionCallback(handle, type, data, size, &self.m_request)
               : 0;
}

bool CWireRecorder::takes(curl_infotype type, std::size_t size) noexcept {
    if (!isData(type) && !isTLSData(type)) {
        return true;
    }
    const auto bytes = static_cast<int64>(size);
    if (m_recorded >= maxRecordedBytes) {
        m_leftOut += isData(type) ? bytes : 0;
        return false;
    }
    m_recorded += bytes + bytesOfMessage;
    return true;
}

}  // namespace vexil::app

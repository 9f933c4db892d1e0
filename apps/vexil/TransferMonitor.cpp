#include "apps/vexil/TransferMonitor.h"

#include "apps/vexil/FileProgress.h"
#include "apps/vexil/Interrupt.h"
#include "zet/Log.h"

namespace vexil::app {

CTransferMonitor& CTransferMonitor::of(CNetRequest& request) {
    P<CTransferMonitor> monitor = request.getUserData().dynamicCast<CTransferMonitor>();
    if (!monitor) {
        monitor = new CTransferMonitor;
        request.setUserData(monitor);
    }
    return *monitor;
}

void CTransferMonitor::watch(CNetRequest& request) {
    request.setOptionPtr(CURLOPT_XFERINFOFUNCTION, reinterpret_cast<void*>(&CTransferMonitor::onTransfer));
    request.setOptionPtr(CURLOPT_XFERINFODATA, &of(request));
    request.setOptionInt(CURLOPT_NOPROGRESS, 0);
}

void CTransferMonitor::report() {
    if (m_file) {
        m_file->update(m_offset + m_bytes);
    }
}

int CTransferMonitor::onTransfer(void* data, curl_off_t, curl_off_t downloaded, curl_off_t,
                                 curl_off_t uploaded) noexcept {
    if (CInterrupt::isRequested()) {
        return 1;
    }
    CTransferMonitor& monitor = *static_cast<CTransferMonitor*>(data);
    monitor.m_bytes = downloaded + uploaded;
    if (monitor.m_thread != std::this_thread::get_id()) {
        return 0;
    }
    try {
        monitor.report();
    } catch (const std::exception& error) {
        // No transfer fails because its progress cannot be shown.
        zet::logWarning(error, "The progress of a transfer could not be shown.");
    }
    return 0;
}

}  // namespace vexil::app

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

int CTransferMonitor::onTransfer(void* monitor, curl_off_t, curl_off_t downloaded, curl_off_t,
                                 curl_off_t uploaded) noexcept {
    if (CInterrupt::isRequested()) {
        return 1;
    }
    try {
        if (CFileProgress* file = static_cast<CTransferMonitor*>(monitor)->m_file) {
            file->update(downloaded + uploaded);
        }
    } catch (const std::exception& error) {
        // No transfer fails because its progress cannot be shown.
        zet::logWarning(error, "The progress of a transfer could not be shown.");
    }
    return 0;
}

}  // namespace vexil::app

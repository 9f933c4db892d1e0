#include "apps/vexil/TransferMonitor.h"

#include "apps/vexil/Interrupt.h"
#include "apps/vexil/Progress.h"
#include "zet/Log.h"

namespace vexil::app {

void CTransferMonitor::watch(CNetRequest& request) {
    request.setOptionPtr(CURLOPT_XFERINFOFUNCTION, reinterpret_cast<void*>(&CTransferMonitor::onTransfer));
    request.setOptionPtr(CURLOPT_XFERINFODATA, this);
    request.setOptionInt(CURLOPT_NOPROGRESS, 0);
    request.addDependencyObject(this);
}

int CTransferMonitor::onTransfer(void* monitor, curl_off_t, curl_off_t downloaded, curl_off_t,
                                 curl_off_t uploaded) noexcept {
    if (CInterrupt::isRequested()) {
        return 1;
    }
    try {
        if (CProgress* progress = static_cast<CTransferMonitor*>(monitor)->m_progress) {
            progress->update(downloaded + uploaded);
        }
    } catch (const std::exception& error) {
        // No transfer fails because its progress cannot be shown.
        zet::logWarning(error, "The progress of a transfer could not be shown.");
    }
    return 0;
}

}  // namespace vexil::app

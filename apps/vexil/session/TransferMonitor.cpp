#include "apps/vexil/session/TransferMonitor.h"

#include "apps/vexil/console/Progress.h"
#include "apps/vexil/platform/Interrupt.h"
#include "zet/Log.h"

namespace vexil::app {

CTransferMonitor& CTransferMonitor::of(CNetRequest& request) {
    P<CTransferMonitor> monitor = request.getUserData().dynamicCast<CTransferMonitor>();
    if (!monitor) {
        monitor = new CTransferMonitor(request);
        request.setUserData(monitor);
    }
    return *monitor;
}

void CTransferMonitor::watch(CNetRequest& request) {
    of(request).m_bytes = 0;
    request.setTransferProgress(&of(request));
}

void CTransferMonitor::report() {
    if (m_file) {
        const int64 total = m_total;
        m_file->update(m_offset + m_bytes, total > 0 ? m_offset + total : 0);
    }
}

void CTransferMonitor::onProgress(int64 downloaded, int64 downloadTotal, int64 uploaded, int64 uploadTotal) {
    if (CInterrupt::isRequested()) {
        m_request.cancel();
        return;
    }
    m_bytes = downloaded + uploaded;
    m_total = downloadTotal + uploadTotal;
    if (m_thread != std::this_thread::get_id()) {
        return;
    }
    try {
        report();
    } catch (const std::exception& error) {
        // A transfer must not fail because its progress cannot be shown.
        zet::logWarning(error, "The progress of a transfer could not be shown.");
    }
}

}  // namespace vexil::app

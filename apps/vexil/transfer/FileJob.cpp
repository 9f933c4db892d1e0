#include "apps/vexil/transfer/FileJob.h"

#include "apps/vexil/session/TransferMonitor.h"

namespace vexil::app {

CFileJob::~CFileJob() = default;

void CFileJob::onAttach(CNetRequest& request) {
    CTransferMonitor::of(request).setFile(&m_progress);
}

void CFileJob::onDetach(CNetRequest& request) noexcept {
    CTransferMonitor::of(request).setFile(nullptr);
}

}  // namespace vexil::app

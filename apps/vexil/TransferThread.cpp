#include "apps/vexil/TransferThread.h"

#include "vexil/async/AsyncNetRequestManager.h"
#include "zet/Log.h"

#include <utility>

namespace vexil::app {

CTransferThread::CTransferThread() : CAsyncNetRequestThread(nullptr) {}

CTransferThread::~CTransferThread() {
    // The worker uses what is declared here.
    try {
        stop(true);
    } catch (const std::exception& error) {
        zet::onExceptionInDestructorIgnored("vexil::app::CTransferThread", &error);
    }
}

TArray<P<CNetRequest>> CTransferThread::takeFinished(int milliseconds) {
    m_hasFinished.wait(milliseconds);
    const std::scoped_lock lock(m_mutex);
    m_hasFinished.reset();
    return std::exchange(m_finished, {});
}

void CTransferThread::handleManagerEvents(CAsyncNetRequestManager& manager) {
    TArray<P<CNetRequest>> finished;
    if (manager.handleEvents(&finished) == 0) {
        return;
    }
    const std::scoped_lock lock(m_mutex);
    m_finished.insert(m_finished.end(), finished.begin(), finished.end());
    m_hasFinished.set();
}

}  // namespace vexil::app

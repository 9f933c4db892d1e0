#include "vexil/async/TransferThread.h"

#include "vexil/async/AsyncNetRequestManager.h"
#include "zet/Log.h"

#include <utility>

namespace vexil {

namespace {

// More than are ever used: if libcurl closed an FTP connection, its goodbye would be among the replies of a
// transfer.
constexpr int maxConnections = 100000;

}  // namespace

CTransferThread::CTransferThread() : CAsyncNetRequestThread(nullptr) {}

CTransferThread::~CTransferThread() {
    // The worker uses the members that are declared here.
    try {
        stop(true);
    } catch (const std::exception& error) {
        zet::onExceptionInDestructorIgnored("vexil::CTransferThread", &error);
    } catch (...) {
        zet::onExceptionInDestructorIgnored("vexil::CTransferThread", nullptr);
    }
}

TArray<P<CNetRequest>> CTransferThread::takeFinished(int milliseconds) {
    m_hasFinished.wait(milliseconds);
    const zet::CMutexLock lock(m_mutex);
    m_hasFinished.reset();
    return std::exchange(m_finished, {});
}

void CTransferThread::handleManagerEvents(CAsyncNetRequestManager& manager) {
    manager.setMaxConnections(maxConnections);
    TArray<P<CNetRequest>> finished;
    if (manager.handleEvents(&finished) == 0) {
        return;
    }
    const zet::CMutexLock lock(m_mutex);
    m_finished.insert(m_finished.end(), finished.begin(), finished.end());
    m_hasFinished.set();
}

}  // namespace vexil

#include "vexil/async/TransferThread.h"

#include "vexil/async/AsyncNetRequestManager.h"
#include "vexil/async/SocketPoller.h"
#include "zet/Log.h"

#include <utility>

namespace vexil {

namespace {

// More than are ever used: if libcurl closed an FTP connection, its goodbye would be among the replies of a
// transfer.
constexpr int maxConnections = 100000;

}  // namespace

CTransferThread::CTransferThread(const P<zet::CSignal>& hasFinished)
    : CAsyncNetRequestThread(nullptr), m_hasFinished(hasFinished) {
    // The token is looked at only while requests run.
    setWithoutIdlePasses(true);
    // Without them an FTP transfer with TLS sometimes waits for the next look at all transfers, which the
    // engine does once a second, and a worker without it in each pass.
    setEngine(CSocketPoller::hasArrivals() ? AsyncEngine::Sockets : AsyncEngine::Automatic);
}

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

void CTransferThread::setPauseToken(CPauseToken* token) {
    const zet::CMutexLock lock(m_mutex);
    m_pauseToken = token;
}

bool CTransferThread::isPaused() {
    const zet::CMutexLock lock(m_mutex);
    return m_pauseToken && m_pauseToken->isPaused();
}

TArray<P<CNetRequest>> CTransferThread::takeFinished(int milliseconds) {
    m_hasFinished->wait(milliseconds);
    const zet::CMutexLock lock(m_mutex);
    m_hasFinished->reset();
    return std::exchange(m_finished, {});
}

void CTransferThread::handleManagerEvents(CAsyncNetRequestManager& manager) {
    manager.setMaxConnections(maxConnections);
    manager.setPaused(isPaused());
    TArray<P<CNetRequest>> finished;
    if (manager.handleEvents(&finished) == 0) {
        return;
    }
    const zet::CMutexLock lock(m_mutex);
    m_finished.insert(m_finished.end(), finished.begin(), finished.end());
    m_hasFinished->set();
}

}  // namespace vexil

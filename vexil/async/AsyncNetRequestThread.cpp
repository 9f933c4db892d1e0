#include "vexil/async/AsyncNetRequestThread.h"

#include "vexil/async/AsyncNetRequestManager.h"
#include "vexil/async/ConnectionLimitCheck.h"
#include "vexil/async/EngineCheck.h"
#include "zet/Log.h"
#include "zet/WakeUp.h"

#include <algorithm>
#include <cassert>
#include <typeinfo>
#include <utility>

namespace vexil {

namespace {

constexpr int maxPassWait = 100;   // milliseconds
constexpr int removalSlice = 250;  // milliseconds

/// Sets a pointer for the lifetime of this object.
template <class Object>
class CPointerInScope {
public:
    CPointerInScope(Object*& pointer, Object& object) : m_pointer(pointer) { m_pointer = &object; }
    CPointerInScope(const CPointerInScope&) = delete;
    CPointerInScope& operator=(const CPointerInScope&) = delete;
    ~CPointerInScope() { m_pointer = nullptr; }

private:
    Object*& m_pointer;
};

}  // namespace

CAsyncNetRequestThread::IProgressHandler::~IProgressHandler() = default;

/// An order to remove a request, and its result.
class CAsyncNetRequestThread::CRemoveRequest : public virtual CBase {
public:
    /// \param request  null for all
    explicit CRemoveRequest(CNetRequest* request) : m_request(request) {}

    /// Called on the worker. The reference is dropped before the waiting thread is woken, which may then
    /// destroy the request.
    void carryOut(CAsyncNetRequestManager& manager) {
        if (const P<CNetRequest> request = std::move(m_request)) {
            m_result = manager.removeRequest(request);
        } else {
            manager.removeAllRequests();
            m_result = true;
        }
        m_done.set();
    }

    /// Waits for a limited time. True if it is carried out.
    bool wait(int milliseconds) { return m_done.wait(milliseconds); }
    /// Valid once it is carried out.
    bool getResult() const noexcept { return m_result; }

private:
    P<CNetRequest> m_request;
    zet::CSignal m_done;
    bool m_result = false;
};

CAsyncNetRequestThread::CAsyncNetRequestThread(IProgressHandler* handler)
    : CThread(nullptr, true), m_progressHandler(handler), m_wakeUp(CAsyncNetRequestManager::makeWakeUp()) {
    setThreadName("vexil.asyncNetRequest");
}

CAsyncNetRequestThread::~CAsyncNetRequestThread() {
    assert(!isAlive() || getCurrentID() != getID());
    try {
        stop(true);
    } catch (const std::exception& error) {
        zet::onExceptionInDestructorIgnored("vexil::CAsyncNetRequestThread", &error);
    } catch (...) {
        zet::onExceptionInDestructorIgnored("vexil::CAsyncNetRequestThread", nullptr);
    }
}

void CAsyncNetRequestThread::setEngine(AsyncEngine engine) {
    static constexpr char place[] = "CAsyncNetRequestThread::setEngine";
    checkEngine(place, engine);
    if (isAlive()) {
        throw CInvalidArgError(place, "the engine must be set before the worker starts");
    }
    m_engine = engine;
}

void CAsyncNetRequestThread::setWaitForMultiplexing(bool wait) {
    if (isAlive()) {
        throw CInvalidArgError("CAsyncNetRequestThread::setWaitForMultiplexing",
                               "it must be set before the worker starts");
    }
    m_waitsForMultiplexing = wait;
}

void CAsyncNetRequestThread::setMaxConnectionsPerHost(int count) {
    static constexpr char place[] = "CAsyncNetRequestThread::setMaxConnectionsPerHost";
    checkConnectionLimit(place, count);
    if (isAlive()) {
        throw CInvalidArgError(place, "the limit must be set before the worker starts");
    }
    m_maxConnectionsPerHost = count;
}

void CAsyncNetRequestThread::setMaxTotalConnections(int count) {
    static constexpr char place[] = "CAsyncNetRequestThread::setMaxTotalConnections";
    checkConnectionLimit(place, count);
    if (isAlive()) {
        throw CInvalidArgError(place, "the limit must be set before the worker starts");
    }
    m_maxTotalConnections = count;
}

void CAsyncNetRequestThread::addRequest(CNetRequest* request) {
    if (!request) {
        throw CInvalidArgError("CAsyncNetRequestThread::addRequest", "request must not be null");
    }
    // Take a reference first: there may be no memory for the list.
    const P<CNetRequest> held = request;
    // Reset the done signal now, so that a waiter does not see the end of the previous transfer.
    request->announceAsync();
    {
        const zet::CMutexLock lock(m_addMutex);
        m_addQueue.push_back(held);
    }
    m_wakeUp->wake();
}

bool CAsyncNetRequestThread::removeRequest(CNetRequest* request) {
    const P<CRemoveRequest> order = orderRemoval(request);
    return !isOnWorker() && waitForRemoval(*order) && order->getResult();
}

P<CAsyncNetRequestThread::CRemoveRequest> CAsyncNetRequestThread::orderRemoval(CNetRequest* request) {
    P<CRemoveRequest> order = new CRemoveRequest(request);
    {
        const zet::CMutexLock lock(m_removeMutex);
        m_removeQueue.push_back(order);
    }
    m_wakeUp->wake();
    return order;
}

/// Waits until the order is carried out or the worker is not running. True if it is carried out.
bool CAsyncNetRequestThread::waitForRemoval(CRemoveRequest& order) {
    while (isAlive()) {
        if (order.wait(removalSlice)) {
            return true;
        }
    }
    // The worker's last pass may have carried it out.
    return order.wait(0);
}

void CAsyncNetRequestThread::withdrawRemoval(const CRemoveRequest* order) {
    const zet::CMutexLock lock(m_removeMutex);
    const auto place = std::find(m_removeQueue.begin(), m_removeQueue.end(), order);
    if (place != m_removeQueue.end()) {
        m_removeQueue.erase(place);
    }
}

bool CAsyncNetRequestThread::isOnWorker() const {
    return getCurrentID() == getID();
}

void CAsyncNetRequestThread::removeAllRequests() {
    removeRequest(nullptr);
}

void CAsyncNetRequestThread::restartRequest(CNetRequest* request) {
    if (!request) {
        throw CInvalidArgError("CAsyncNetRequestThread::restartRequest", "request must not be null");
    }
    if (isOnWorker() && m_manager) {
        m_manager->restartLater(request);
        m_wakeUp->wake();
        return;
    }
    const P<CNetRequest> held = request;
    if (announceIfWaiting(request)) {
        return;
    }
    if (!isOnWorker()) {
        const P<CRemoveRequest> order = orderRemoval(request);
        if (!waitForRemoval(*order)) {
            // Otherwise it would remove the request when the worker starts.
            withdrawRemoval(order);
        }
    }
    addRequest(request);
}

bool CAsyncNetRequestThread::announceIfWaiting(CNetRequest* request) {
    const zet::CMutexLock lock(m_addMutex);
    if (std::find(m_addQueue.begin(), m_addQueue.end(), request) == m_addQueue.end()) {
        return false;
    }
    request->announceAsync();
    return true;
}

void CAsyncNetRequestThread::runImpl() {
    CAsyncNetRequestManager manager(m_wakeUp);
    manager.setEngine(m_engine);
    manager.setWaitForMultiplexing(m_waitsForMultiplexing);
    manager.setMaxConnectionsPerHost(m_maxConnectionsPerHost);
    manager.setMaxTotalConnections(m_maxTotalConnections);
    const CPointerInScope<CAsyncNetRequestManager> managerInScope(m_manager, manager);
    while (checkContinue()) {
        // Count the removals first. One that is ordered later may be for a request that was added later, too.
        // It waits for the next pass, which picks up the request first.
        const std::size_t removals = countRemovals();
        processRestarts(manager);
        processAddRequests(manager);
        {
            const zet::CMutexLock lock(m_removeMutex);
            carryOutOldestRemovals(removals, manager);
        }
        if (needsIdlePasses() || !manager.waitUntilWoken()) {
            manager.waitForEvents(maxPassWait);
        }
        handleManagerEvents(manager);
        if (m_progressHandler) {
            m_progressHandler->onProgress();
        }
    }
    onThreadExit();
}

/// Nobody sees the passes of an idle worker that has neither a handler nor hooks.
bool CAsyncNetRequestThread::needsIdlePasses() const noexcept {
    return m_progressHandler || (!m_isWithoutIdlePasses && typeid(*this) != typeid(CAsyncNetRequestThread));
}

void CAsyncNetRequestThread::onThreadExit() {}

void CAsyncNetRequestThread::handleManagerEvents(CAsyncNetRequestManager& manager) {
    manager.handleEvents(nullptr);
}

void CAsyncNetRequestThread::onStopRequested() {
    m_wakeUp->wake();
}

void CAsyncNetRequestThread::processRestarts(CAsyncNetRequestManager& manager) {
    while (const P<CNetRequest> request = manager.takeRestart()) {
        const zet::CMutexLock lock(m_addMutex);
        if (std::find(m_addQueue.begin(), m_addQueue.end(), request) == m_addQueue.end()) {
            // Not announced again: a cancel() since then counts.
            m_addQueue.push_back(request);
        }
    }
}

void CAsyncNetRequestThread::processAddRequests(CAsyncNetRequestManager& manager) {
    const zet::CMutexLock lock(m_addMutex);
    while (!m_addQueue.empty()) {
        const auto index = m_addQueue.size() - 1;
        const P<CNetRequest> request = m_addQueue[index];
        manager.addAnnouncedRequest(request);
        // Erase only after success, and by index: rewinding a source may have added another request after
        // this one.
        m_addQueue.erase(m_addQueue.begin() + static_cast<std::ptrdiff_t>(index));
    }
}

std::size_t CAsyncNetRequestThread::countRemovals() {
    const zet::CMutexLock lock(m_removeMutex);
    return m_removeQueue.size();
}

/// Carries out the oldest `count` removals, the newest of them first. Each may add and remove further ones.
void CAsyncNetRequestThread::carryOutOldestRemovals(std::size_t count, CAsyncNetRequestManager& manager) {
    while (count > 0 && !m_removeQueue.empty()) {
        count = std::min(count, m_removeQueue.size()) - 1;
        const auto place = m_removeQueue.begin() + static_cast<std::ptrdiff_t>(count);
        const P<CRemoveRequest> order = *place;
        m_removeQueue.erase(place);
        order->carryOut(manager);
    }
}

void CAsyncNetRequestThread::processRemoveRequests(CAsyncNetRequestManager& manager) {
    const zet::CMutexLock lock(m_removeMutex);
    while (!m_removeQueue.empty()) {
        carryOutOldestRemovals(m_removeQueue.size(), manager);
    }
}

}  // namespace vexil

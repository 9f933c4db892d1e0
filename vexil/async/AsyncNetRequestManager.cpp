#include "vexil/async/AsyncNetRequestManager.h"

#include "vexil/async/CancelWaker.h"
#include "vexil/async/ConnectionLimitCheck.h"
#include "vexil/async/EngineCheck.h"
#include "vexil/async/RunningRequests.h"
#include "vexil/async/SocketEngine.h"
#include "vexil/async/WaitingRequests.h"
#include "vexil/net/CURLError.h"
#include "vexil/net/ConnectionPools.h"
#include "vexil/net/GlobalInit.h"
#include "vexil/net/NetRequestParts.h"
#include "vexil/net/RateWaiters.h"
#include "zet/Log.h"
#include "zet/PosixSelect.h"
#include "zet/WakeUp.h"

#include <algorithm>
#include <exception>
#include <limits>
#include <utility>

namespace vexil {

namespace {

constexpr int maxWait = 1000;               // milliseconds
constexpr int maxWaitWithoutSockets = 100;  // milliseconds
// A token may be cancelled in a signal handler, which cannot wake a thread.
constexpr int maxWaitWithTokens = 100;  // milliseconds
// Largest number of requests that is safe with select(), whose sets hold descriptors below FD_SETSIZE or, on
// Windows, 64 sockets. A request has up to two.
constexpr int maxSelectRequests = FD_SETSIZE >= 1024 ? 400 : 32;

void check(CURLMcode code) {
    if (code != CURLM_OK) {
        throw CCURLError(code, "", "", -1, "", "", "", "");
    }
}

/// The sets of select(), with the sockets that libcurl waits for.
struct CSocketSets {
    CSocketSets() {
        FD_ZERO(&read);
        FD_ZERO(&write);
        FD_ZERO(&error);
    }
    void add(CURLM* multi) { check(curl_multi_fdset(multi, &read, &write, &error, &highest)); }
    int select(int count, int milliseconds) {
        return zet::CPosixSelect::select(count, &read, &write, &error, milliseconds);
    }

    fd_set read;
    fd_set write;
    fd_set error;
    int highest = -1;  // of libcurl's sockets; -1 for none
};

/// Makes room for one more element; grows geometrically.
void reserveOneMore(TArray<P<CNetRequest>>& list) {
    if (list.size() == list.capacity()) {
        list.reserve(std::max<std::size_t>(4, 2 * list.size()));
    }
}

/// Runs all the work and keeps the first error for the end.
class CErrorKeeper {
public:
    template <class Work>
    void run(const Work& work) {
        try {
            work();
        } catch (...) {
            if (!m_error) {
                m_error = std::current_exception();
            }
        }
    }
    void rethrow() const {
        if (m_error) {
            std::rethrow_exception(m_error);
        }
    }

private:
    std::exception_ptr m_error;
};

}  // namespace

IAsyncNetRequestManager::~IAsyncNetRequestManager() = default;

// makeWakeUp() is a function because of a defect of g++ 12: in a delegating constructor of a class with
// virtual bases, the memory of a `new` among the arguments leaks if its constructor throws.
CAsyncNetRequestManager::CAsyncNetRequestManager() : CAsyncNetRequestManager(makeWakeUp()) {}

CAsyncNetRequestManager::CAsyncNetRequestManager(const P<zet::CWakeUp>& wakeUp)
    : m_pools(new CConnectionPools(false)), m_requests(std::make_unique<CRunningRequests>()),
      m_wakeUp(wakeUp), m_cancelWaker(new CCancelWaker(wakeUp)), m_rateWaiters(new CRateWaiters) {
    m_multi.reset(curl_multi_init());
    if (!m_multi) {
        throw CError("Error creating curl multi handle.");
    }
}

P<zet::CWakeUp> CAsyncNetRequestManager::makeWakeUp() {
    // First: on Windows sockets are not available until libcurl has started them.
    CGlobalInit::get();
    return new zet::CWakeUp;
}

CAsyncNetRequestManager::~CAsyncNetRequestManager() {
    try {
        removeAllRequests();
        m_engine = nullptr;
        m_multi.reset();
    } catch (const std::exception& error) {
        zet::onExceptionInDestructorIgnored("vexil::CAsyncNetRequestManager", &error);
    } catch (...) {
        zet::onExceptionInDestructorIgnored("vexil::CAsyncNetRequestManager", nullptr);
    }
}

void CAsyncNetRequestManager::setMaxConnections(int count) {
    if (count < 0) {
        throw CInvalidArgError("CAsyncNetRequestManager::setMaxConnections", "count must not be negative");
    }
    check(curl_multi_setopt(m_multi.get(), CURLMOPT_MAXCONNECTS, static_cast<long>(count)));
}

void CAsyncNetRequestManager::setMaxConnectionsPerHost(int count) {
    setLimit("CAsyncNetRequestManager::setMaxConnectionsPerHost", CURLMOPT_MAX_HOST_CONNECTIONS, count);
}

void CAsyncNetRequestManager::setMaxTotalConnections(int count) {
    setLimit("CAsyncNetRequestManager::setMaxTotalConnections", CURLMOPT_MAX_TOTAL_CONNECTIONS, count);
}

void CAsyncNetRequestManager::setLimit(const char* place, CURLMoption option, int count) {
    checkConnectionLimit(place, count);
    if (count > 0) {
        watchWaiting();
    }
    check(curl_multi_setopt(m_multi.get(), option, static_cast<long>(count)));
}

void CAsyncNetRequestManager::watchWaiting() {
    if (!m_waiting) {
        auto waiting = std::make_unique<CWaitingRequests>(*m_requests, m_cancelWaker);
        m_requests->forEach([&](CNetRequest& request) { waiting->add(&request); });
        m_waiting = std::move(waiting);
    }
}

void CAsyncNetRequestManager::setEngine(AsyncEngine engine) {
    static constexpr char place[] = "CAsyncNetRequestManager::setEngine";
    checkEngine(place, engine);
    if (!m_requests->isEmpty()) {
        throw CInvalidArgError(place, "the engine must not be changed while requests run");
    }
    if (engine == AsyncEngine::Sockets) {
        makeEngine();
    }
    m_engineKind = engine;
}

AsyncEngine CAsyncNetRequestManager::getEngine() const noexcept {
    return m_engineKind;
}

void CAsyncNetRequestManager::setWaitForMultiplexing(bool wait) noexcept {
    m_waitsForMultiplexing = wait;
}

void CAsyncNetRequestManager::addRequest(CNetRequest* request) {
    if (!request) {
        throw CInvalidArgError("CAsyncNetRequestManager::addRequest", "request must not be null");
    }
    // Take a reference first: there may be no memory for the list.
    const P<CNetRequest> held = request;
    refuseRunning(request);
    // Forget an earlier cancel(), such as one for a worker that never picked up the request.
    request->announceAsync();
    start(request);
}

void CAsyncNetRequestManager::addAnnouncedRequest(CNetRequest* request) {
    refuseRunning(request);
    start(request);
}

void CAsyncNetRequestManager::refuseRunning(const CNetRequest* request) const {
    if (m_requests->contains(request)) {
        // libcurl would refuse it as well, but only after the running transfer has lost its data.
        check(CURLM_ADDED_ALREADY);
    }
}

void CAsyncNetRequestManager::start(CNetRequest* request) {
    request->setConnectionPools(m_pools);
    try {
        request->setAsyncInfo(false, CURLE_OK);
        CNetRequestCallbacks::beginRate(*request, *m_rateWaiters);
        if (m_waitsForMultiplexing) {
            watchWaiting();
            curl_easy_setopt(request->getHandle(), CURLOPT_PIPEWAIT, 1L);
        }
        // Even if cancelling is off: it may be switched on while the transfer waits to begin.
        if (m_waiting) {
            m_waiting->add(request);
        } else {
            request->setCancelWaker(m_cancelWaker);
        }
        // Add it to the list first: that may run out of memory, removing it again cannot.
        m_requests->add(request);
        const CURLMcode code = curl_multi_add_handle(m_multi.get(), request->getHandle());
        if (code != CURLM_OK) {
            m_requests->remove(request);
            check(code);
        }
    } catch (...) {
        CNetRequestCallbacks::endRate(*request);
        request->setCancelWaker(nullptr);
        request->setConnectionPools(nullptr);
        throw;
    }
    m_hasTokens = m_hasTokens || request->getCancelToken();
}

bool CAsyncNetRequestManager::removeRequest(CNetRequest* request) {
    // A waiting restart counts as running and is cancelled as well. Its reference is dropped last.
    P<CNetRequest> restart;
    const auto place = std::find(m_restarts.begin(), m_restarts.end(), request);
    if (place != m_restarts.end()) {
        restart = std::move(*place);
        m_restarts.erase(place);
    }
    if (!request || !m_requests->contains(request)) {
        return restart.get() != nullptr;
    }
    // Dropped last: this may destroy an owner that adds other requests.
    const P<CNetRequest> held = request;
    stop(held);
    return true;
}

void CAsyncNetRequestManager::removeRequest(int index) {
    const P<CNetRequest> request = m_requests->getAt(index);
    stop(request);
}

/// \param request  one of the list. The caller drops this reference last
void CAsyncNetRequestManager::stop(const P<CNetRequest>& request) {
    check(curl_multi_remove_handle(m_multi.get(), request->getHandle()));
    if (m_engine) {
        m_engine->drop(request->getHandle());
    }
    if (m_waiting) {
        m_waiting->forget(request);
    }
    CNetRequestCallbacks::endRate(*request);
    request->setCancelWaker(nullptr);
    request->setConnectionPools(nullptr);
    m_requests->remove(request);
    m_hasTokens = m_hasTokens && !m_requests->isEmpty();
}

void CAsyncNetRequestManager::removeAllRequests() {
    // Take the list out first: dropping a request may destroy an owner that restarts others.
    const TArray<P<CNetRequest>> restarts = std::exchange(m_restarts, {});
    while (!m_requests->isEmpty()) {
        const P<CNetRequest> request = m_requests->getLast();
        stop(request);
    }
}

void CAsyncNetRequestManager::restartLater(CNetRequest* request) {
    if (!isToBeRestarted(request)) {
        m_restarts.emplace_back(request);
    }
    request->announceAsync();
}

P<CNetRequest> CAsyncNetRequestManager::takeRestart() {
    if (m_restarts.empty()) {
        return nullptr;
    }
    P<CNetRequest> request = m_restarts.front();
    removeRequest(request);
    return request;
}

int CAsyncNetRequestManager::getRequestCount() const noexcept {
    return m_requests->getCount();
}

bool CAsyncNetRequestManager::isToBeRestarted(const CNetRequest* request) const noexcept {
    return std::find(m_restarts.begin(), m_restarts.end(), request) != m_restarts.end();
}

void CAsyncNetRequestManager::setPaused(bool isPaused) {
    if (!isPaused && !m_isPaused) {
        return;
    }
    m_isPaused = isPaused;
    m_requests->forEach([isPaused](CNetRequest& request) {
        if (!isPaused && CNetRequestCallbacks::continueLimited(request)) {
            return;
        }
        const CURLcode result =
            curl_easy_pause(request.getHandle(), isPaused ? CURLPAUSE_ALL : CURLPAUSE_CONT);
        // That of a transfer without a connection.
        if (result != CURLE_OK && result != CURLE_BAD_FUNCTION_ARGUMENT) {
            throw CError("libcurl cannot pause or continue a transfer: " +
                         String(curl_easy_strerror(result)));
        }
    });
}

int CAsyncNetRequestManager::handleEvents(TArray<P<CNetRequest>>* finished) {
    if (!m_isPaused) {
        m_rateWaiters->resumeDue();
    }
    int running = 0;
    const CURLMcode code = runTransfers(&running);
    if (code != CURLM_CALL_MULTI_PERFORM) {
        check(code);
    }
    m_performAgain = code == CURLM_CALL_MULTI_PERFORM;
    if (m_waiting) {
        m_waiting->endLook();
    }
    // If all requests are still running, none has ended.
    const int count = running == getRequestCount() ? 0 : handleFinishedRequests(finished);
    return m_waiting ? count + endWaiting(finished) : count;
}

/// Ends the requests that wait for a connection and that libcurl does not look at.
int CAsyncNetRequestManager::endWaiting(TArray<P<CNetRequest>>* finished) {
    int count = 0;
    CErrorKeeper errors;
    CURLcode result = CURLE_OK;
    while (const P<CNetRequest> request = m_waiting->next(result)) {
        errors.run([&] {
            stop(request);
            if (!isToBeRestarted(request)) {
                ++count;
                finish(request, result, finished);
            }
        });
    }
    errors.rethrow();
    return count;
}

CURLMcode CAsyncNetRequestManager::runTransfers(int* running) {
    const bool isByEngine = usesEngine();
    const bool looksAtTokens = (isByEngine || m_waiting) && isTimeForTokens();
    const bool mustLook = m_waiting && m_waiting->beginLook(looksAtTokens);
    if (!isByEngine) {
        m_isByEngine = false;
        return curl_multi_perform(m_multi.get(), running);
    }
    if (!std::exchange(m_isByEngine, true)) {
        // It does not know what has changed meanwhile.
        m_engine->requestAll();
    }
    if (mustLook) {
        m_engine->requestAll();
    }
    noticeCancelled(looksAtTokens);
    return m_engine->run(getRequestCount(), running);
}

bool CAsyncNetRequestManager::isTimeForTokens() {
    if (!m_hasTokens) {
        return false;
    }
    const auto now = std::chrono::steady_clock::now();
    if (now < m_nextTokenCheck) {
        return false;
    }
    m_nextTokenCheck = now + std::chrono::milliseconds(maxWaitWithTokens);
    return true;
}

/// A cancelled transfer ends in its progress callback, which libcurl calls only if it looks at the transfer.
void CAsyncNetRequestManager::noticeCancelled(bool looksAtTokens) {
    if (m_cancelWaker->takeCall() || (looksAtTokens && m_requests->hasCancelledToken())) {
        m_engine->requestAll();
    }
}

int CAsyncNetRequestManager::handleFinishedRequests(TArray<P<CNetRequest>>* finished) {
    int count = 0;
    CErrorKeeper errors;
    int messagesLeft = 0;
    while (const CURLMsg* const message = curl_multi_info_read(m_multi.get(), &messagesLeft)) {
        const P<CNetRequest> request =
            message->msg == CURLMSG_DONE ? m_requests->find(message->easy_handle) : nullptr;
        if (!request) {
            continue;
        }
        errors.run([&] {
            // Copy the result: the message is invalid once the handle is removed.
            const CURLcode result = message->data.result;
            request->endUnsafeConnection();
            stop(request);
            if (!isToBeRestarted(request)) {
                ++count;
                finish(request, result, finished);
            }
        });
    }
    errors.rethrow();
    return count;
}

void CAsyncNetRequestManager::finish(const P<CNetRequest>& request, CURLcode result,
                                     TArray<P<CNetRequest>>* finished) {
    CErrorKeeper errors;
    bool hasRoom = false;
    if (finished) {
        // Reserve first: the request must be notified even if there is no memory for the list.
        errors.run([&] {
            reserveOneMore(*finished);
            hasRoom = true;
        });
    }
    errors.run([&] { request->setAsyncInfo(true, result); });
    if (hasRoom) {
        // A listener may have used the reserved space.
        errors.run([&] { finished->push_back(request); });
    }
    errors.rethrow();
}

void CAsyncNetRequestManager::waitForEvents(int timeoutMs) {
    if (m_performAgain) {
        return;
    }
    if (usesEngine()) {
        waitByEngine(timeoutMs);
    } else if (usesPoll()) {
        waitByPoll(timeoutMs);
    } else {
        waitBySelect(timeoutMs);
    }
}

bool CAsyncNetRequestManager::usesPoll() const noexcept {
    return getRequestCount() > maxSelectRequests || m_isBeyondSelect ||
           !zet::CPosixSelect::canSelect(m_wakeUp->getDescriptor());
}

bool CAsyncNetRequestManager::usesEngine() {
    return m_engineKind == AsyncEngine::Sockets || (usesPoll() && tryToMakeEngine());
}

/// \return false if the system has no descriptor or no memory for it
bool CAsyncNetRequestManager::tryToMakeEngine() noexcept {
    try {
        makeEngine();
        return true;
    } catch (...) {
        return false;
    }
}

void CAsyncNetRequestManager::makeEngine() {
    if (!m_engine) {
        m_engine = std::make_unique<CSocketEngine>(m_multi.get(), *m_wakeUp,
                                                   [this](CURL* handle) { return isHeld(handle); });
    }
}

/// Whether a transfer is paused until this manager continues it.
bool CAsyncNetRequestManager::isHeld(const CURL* handle) const {
    const P<CNetRequest> request = m_requests->find(handle);
    return m_isPaused || (request && CNetRequestCallbacks::isHeldByRate(*request));
}

bool CAsyncNetRequestManager::waitUntilWoken() {
    long timeout = 0;
    check(curl_multi_timeout(m_multi.get(), &timeout));
    if (m_performAgain || !m_requests->isEmpty() || timeout >= 0 || hasSockets()) {
        return false;
    }
    constexpr int weeks = std::numeric_limits<int>::max();
    if (usesEngine()) {
        m_engine->wait(weeks);
    } else if (usesPoll()) {
        poll(weeks);
    } else {
        const auto wakeUp = static_cast<curl_socket_t>(m_wakeUp->getDescriptor());
        fd_set read;
        FD_ZERO(&read);
        FD_SET(wakeUp, &read);
        if (zet::CPosixSelect::select<fd_set>(static_cast<int>(wakeUp) + 1, &read, nullptr, nullptr, weeks) >
            0) {
            m_wakeUp->clear();
        }
    }
    return true;
}

void CAsyncNetRequestManager::waitBySelect(int timeoutMs) {
    const auto wakeUp = static_cast<curl_socket_t>(m_wakeUp->getDescriptor());
    CSocketSets sets;
    // First: on Windows a full set accepts no more sockets.
    FD_SET(wakeUp, &sets.read);
    sets.add(m_multi.get());
    int wait = getWaitTime(timeoutMs);
    if (sets.highest < 0) {
        wait = std::min(wait, maxWaitWithoutSockets);
    }
    const int ready = sets.select(std::max(sets.highest, static_cast<int>(wakeUp)) + 1, wait);
    if (ready > 0 && FD_ISSET(wakeUp, &sets.read)) {
        m_wakeUp->clear();
    }
    if (ready == 0 && wait > 0 && !m_requests->isEmpty()) {
        // There may be an event on a socket that does not fit into a set: a new one, or that of a kept
        // connection.
        m_isBeyondSelect = !m_wakeUp->canSelectNewDescriptors() || isSocketBeyondSelect();
    }
}

// If there is no engine. select() does not support descriptors from FD_SETSIZE on, and libcurl silently
// leaves them out.
void CAsyncNetRequestManager::waitByPoll(int timeoutMs) {
    const int wait = getWaitTime(timeoutMs);
    const int firstWait = std::min(wait, maxWaitWithoutSockets);
    // hasSockets() looks at every transfer, so it is called only if it makes a difference.
    if (!poll(firstWait) && wait > firstWait && hasSockets()) {
        poll(wait - firstWait);
    }
}

bool CAsyncNetRequestManager::poll(int milliseconds) {
    curl_waitfd wakeUp{static_cast<curl_socket_t>(m_wakeUp->getDescriptor()), CURL_WAIT_POLLIN, 0};
    int ready = 0;
    check(curl_multi_poll(m_multi.get(), &wakeUp, 1, milliseconds, &ready));
    if (wakeUp.revents != 0) {
        m_wakeUp->clear();
    }
    return ready > 0;
}

void CAsyncNetRequestManager::waitByEngine(int timeoutMs) {
    // The first step of the engine tells it the sockets.
    const int wait = m_isByEngine || m_requests->isEmpty() ? getWaitTime(timeoutMs) : 0;
    m_engine->wait(m_engine->hasSockets() ? wait : std::min(wait, maxWaitWithoutSockets));
}

/// Whether a socket is ready that does not fit into the sets of select().
bool CAsyncNetRequestManager::isSocketBeyondSelect() {
    int ready = 0;
    check(curl_multi_wait(m_multi.get(), nullptr, 0, 0, &ready));
    // An event that came after the wait is seen by select(), too.
    return ready > 0 && !hasSelectableEvent();
}

bool CAsyncNetRequestManager::hasSelectableEvent() {
    CSocketSets sets;
    sets.add(m_multi.get());
    return sets.highest >= 0 && sets.select(sets.highest + 1, 0) != 0;
}

int CAsyncNetRequestManager::getWaitTime(int timeoutMs) {
    long timeout = 0;
    check(curl_multi_timeout(m_multi.get(), &timeout));
    const int ownLimit = m_hasTokens ? maxWaitWithTokens : maxWait;
    int limit = m_isPaused ? ownLimit : m_rateWaiters->getWait(ownLimit);
    if (m_waiting) {
        limit = m_waiting->getWait(limit);
    }
    const int longest = timeout < 0 || timeout > limit ? limit : static_cast<int>(timeout);
    return timeoutMs < 0 ? longest : std::min(timeoutMs, longest);
}

bool CAsyncNetRequestManager::hasSockets() {
    CSocketSets sets;
    sets.add(m_multi.get());
    return sets.highest >= 0;
}

}  // namespace vexil

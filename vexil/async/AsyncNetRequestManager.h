#pragma once

#include "vexil/BaseTypes.h"
#include "vexil/Export.h"
#include "vexil/async/AsyncEngine.h"
#include "vexil/async/IAsyncNetRequestManager.h"
#include "vexil/net/CurlHandles.h"
#include "vexil/net/NetRequest.h"

#include <curl/curl.h>

#include <chrono>
#include <memory>

namespace zet {
class CWakeUp;
}

namespace vexil {

class CCancelWaker;
class CRateWaiters;
class CRunningRequests;
class CSocketEngine;
class CWaitingRequests;

/// Runs many requests at once on the caller's thread, with one libcurl multi handle.
///
/// The caller alternates waitForEvents() and handleEvents(). A request that has ended is removed and then
/// notified of its result; CNetRequest::checkAsyncResult() throws its error.
///
/// Thread safety: one thread at a time.
///
/// Lifetime: a reference to each request is kept until it has ended or is removed. The destructor removes
/// requests that still run, without notification. While the manager lives, connections are kept for further
/// requests, up to four times the number of requests.
///
/// Errors: a failed call of libcurl's multi interface is a CCURLError with the domain "curlm", empty texts
/// and the response code -1.
///
/// \code
/// CAsyncNetRequestManager manager;
/// manager.addRequest(first);
/// manager.addRequest(second);
/// while (manager.getRequestCount() > 0) {
///     manager.waitForEvents(-1);
///     manager.handleEvents(nullptr);
/// }
/// first->checkAsyncResult();
/// \endcode
class VEXIL_API CAsyncNetRequestManager : public virtual CBase, public virtual IAsyncNetRequestManager {
public:
    /// Initialises libcurl if necessary (CGlobalInit) and creates a multi handle.
    /// \throws CError "Error creating curl multi handle."
    CAsyncNetRequestManager();
    CAsyncNetRequestManager(const CAsyncNetRequestManager&) = delete;
    CAsyncNetRequestManager& operator=(const CAsyncNetRequestManager&) = delete;
    ~CAsyncNetRequestManager() override;

    /// Sets how many connections are kept open, including those in use (CURLMOPT_MAXCONNECTS). 0, the
    /// default: four times the number of running requests. If there are more, libcurl closes an idle one at
    /// the end of some request's transfer. With FTP and SMTP the reply to its QUIT is then among that
    /// request's replies, and its code may replace the request's response code.
    /// \throws CInvalidArgError for a negative count
    void setMaxConnections(int count);
    /// Sets how many connections to one host and port are open at once (CURLMOPT_MAX_HOST_CONNECTIONS). 0,
    /// the default: no limit. Further requests wait in libcurl until a connection is free, roughly in the
    /// order in which they were added; removeRequest() removes one at once. A request that waits ends at its
    /// time limit (CNetRequest::setFullRequestTimeout()) and when it is cancelled. The time to connect begins
    /// only when it need not wait any more. Pools that are kept apart count apart: those of requests that
    /// demand TLS of connections that begin in plain, and of CNetRequest::setKeepsOwnConnections().
    /// \throws CInvalidArgError for a negative count
    void setMaxConnectionsPerHost(int count);
    /// The same for all hosts together (CURLMOPT_MAX_TOTAL_CONNECTIONS). A connection that is kept and not in
    /// use is closed if another host needs its place.
    /// \throws CInvalidArgError for a negative count
    void setMaxTotalConnections(int count);
    /// Sets how the manager finds the transfers that can continue. Default Automatic.
    /// \throws CInvalidArgError while requests run, and for a value that is not one of the enumeration
    /// \throws CError of domain "system" if the system has no more descriptors
    void setEngine(AsyncEngine engine);
    /// The value of setEngine().
    [[nodiscard]] AsyncEngine getEngine() const noexcept;
    /// Sets whether an HTTP request waits for a connection to its server that is about to be made, to share
    /// it if the server multiplexes (HTTP/2), instead of making its own (CURLOPT_PIPEWAIT). Default false:
    /// many requests that are added together make a connection each. With a server that does not multiplex,
    /// the requests make their own connections once the first one is made, later by that time. Counts for
    /// requests that are added from now on, which keep the setting until CNetRequest::reset().
    void setWaitForMultiplexing(bool wait) noexcept;

    /// Starts a transfer. Afterwards the request's done signal is off and the results of its previous
    /// transfer are gone, also after an error other than CURLM_ADDED_ALREADY.
    /// \throws CInvalidArgError for null
    /// \throws CCURLError CURLM_ADDED_ALREADY, without changing the request, if this manager already runs it;
    ///         other errors of libcurl; the error of the request's source if it cannot be rewound
    void addRequest(CNetRequest* request) override;
    /// Removes a request and stops its transfer at once.
    /// \return false, without any effect, if the manager does not run it
    bool removeRequest(CNetRequest* request) override;
    /// Removes all requests, the newest first. If libcurl refuses one, that one and the older ones stay.
    void removeAllRequests();

    /// The number of running requests.
    int getRequestCount() const noexcept;

    /// Pauses all transfers, or continues them (curl_easy_pause, CURLPAUSE_ALL): see CPauseToken. A transfer
    /// that is not connected yet cannot be paused: call it again before each handleEvents() as long as the
    /// pause lasts. Default not paused.
    /// \throws CError if libcurl cannot continue a transfer, such as without memory
    void setPaused(bool isPaused);

    /// Continues every transfer as far as possible without waiting, and notifies the requests that have
    /// ended.
    ///
    /// If a done listener throws, the error is thrown after all requests are notified.
    /// \param finished  each request that has ended is appended, in the order in which they ended, after it
    ///                  was notified; may be null. If memory runs out for the list, the request is notified
    ///                  but not appended, and std::bad_alloc is thrown at the end
    /// \return the number of requests that have ended
    virtual int handleEvents(TArray<P<CNetRequest>>* finished);

    /// Waits until a transfer can continue: until a socket is ready or libcurl must be called for another
    /// reason. At most one second, and at most 100 ms if there is no socket to wait for.
    /// \param timeoutMs  upper limit in milliseconds; 0 does not wait; negative: no limit of its own
    virtual void waitForEvents(int timeoutMs);

protected:
    /// The same for the request at an index of the list, which must exist.
    void removeRequest(int index);
    /// The second half of handleEvents(): notifies the requests that have ended.
    int handleFinishedRequests(TArray<P<CNetRequest>>* finished);

private:
    friend class CAsyncNetRequestThread;

    /// \param wakeUp  ends a wait from another thread
    explicit CAsyncNetRequestManager(const P<zet::CWakeUp>& wakeUp);

    static P<zet::CWakeUp> makeWakeUp();

    /// For the worker thread: addRequest() for a request that was announced when it was handed over.
    void addAnnouncedRequest(CNetRequest* request);
    /// For the worker thread: the request is no longer notified about its transfer; takeRestart() ends the
    /// transfer. May be called while libcurl calls back.
    void restartLater(CNetRequest* request);
    /// For the worker thread: removes the oldest request given to restartLater(), unless it was removed
    /// since.
    /// \return that request; null if there is none
    P<CNetRequest> takeRestart();
    void setLimit(const char* place, CURLMoption option, int count);
    void refuseRunning(const CNetRequest* request) const;
    void start(CNetRequest* request);
    bool isToBeRestarted(const CNetRequest* request) const noexcept;
    void finish(const P<CNetRequest>& request, CURLcode result, TArray<P<CNetRequest>>* finished);
    void stop(const P<CNetRequest>& request);
    bool usesPoll() const noexcept;
    bool usesEngine();
    bool tryToMakeEngine() noexcept;
    void makeEngine();
    bool isHeld(const CURL* handle) const;
    /// For the worker thread: waits until it is woken if nothing else can happen.
    /// \return false, without a wait, if requests run or libcurl waits for something
    bool waitUntilWoken();
    void waitBySelect(int timeoutMs);
    void waitByPoll(int timeoutMs);
    bool poll(int milliseconds);
    bool isSocketBeyondSelect();
    bool hasSelectableEvent();
    void waitByEngine(int timeoutMs);
    CURLMcode runTransfers(int* running);
    bool isTimeForTokens();
    void noticeCancelled(bool looksAtTokens);
    void watchWaiting();
    int endWaiting(TArray<P<CNetRequest>>* finished);
    int getWaitTime(int timeoutMs);
    bool hasSockets();

    const P<CConnectionPools> m_pools;
    CurlMultiHandle m_multi;
    const std::unique_ptr<CRunningRequests> m_requests;
    bool m_performAgain = false;
    TArray<P<CNetRequest>> m_restarts;
    // Some sockets do not fit into select()'s sets. Never reset: connections are kept as long as the manager
    // lives.
    bool m_isBeyondSelect = false;
    bool m_isPaused = false;
    bool m_hasTokens = false;  // at least one of its requests has had a cancel token
    const P<zet::CWakeUp> m_wakeUp;
    const P<CCancelWaker> m_cancelWaker;
    const P<CRateWaiters> m_rateWaiters;
    AsyncEngine m_engineKind = AsyncEngine::Automatic;
    std::unique_ptr<CSocketEngine> m_engine;  // made if it is needed, and then kept
    bool m_isByEngine = false;                // the last step was the engine's
    bool m_waitsForMultiplexing = false;
    std::chrono::steady_clock::time_point m_nextTokenCheck;
    std::unique_ptr<CWaitingRequests> m_waiting;  // null if no request can wait for a connection
};

}  // namespace vexil

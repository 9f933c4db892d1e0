#pragma once

#include "vexil/BaseTypes.h"
#include "vexil/Export.h"
#include "vexil/async/IAsyncNetRequestManager.h"
#include "vexil/net/CurlHandles.h"
#include "vexil/net/NetRequest.h"

#include <curl/curl.h>

namespace zet {
class CWakeUp;
}

namespace vexil {

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
    int getRequestCount() const noexcept { return static_cast<int>(m_requests.size()); }

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
    void refuseRunning(const CNetRequest* request) const;
    void start(CNetRequest* request);
    bool isToBeRestarted(const CNetRequest* request) const noexcept;
    void finish(const P<CNetRequest>& request, CURLcode result, TArray<P<CNetRequest>>* finished);
    int find(const CNetRequest* request) const noexcept;
    int findHandle(const CURL* handle) const noexcept;
    bool usesPoll() const noexcept;
    void waitBySelect(int timeoutMs);
    void waitByPoll(int timeoutMs);
    bool poll(int milliseconds);
    bool hasReadySocket();
    int getWaitTime(int timeoutMs);
    bool hasSockets();

    const P<CConnectionPools> m_pools;
    CurlMultiHandle m_multi;
    TArray<P<CNetRequest>> m_requests;
    bool m_performAgain = false;
    TArray<P<CNetRequest>> m_restarts;
    // Some sockets do not fit into select()'s sets. Never reset: connections are kept as long as the manager
    // lives.
    bool m_isBeyondSelect = false;
    bool m_hasTokens = false;  // at least one of its requests has had a cancel token
    const P<zet::CWakeUp> m_wakeUp;
    const P<CNetRequest::ICancelWaker> m_cancelWaker;
};

}  // namespace vexil

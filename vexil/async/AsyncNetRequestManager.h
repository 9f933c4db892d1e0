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

/// Runs many requests at once on the caller's thread, over one libcurl multi handle.
///
/// The caller alternates waitForEvents() and handleEvents(). A request that has ended is taken off the handle and
/// then told its result; its error is what CNetRequest::checkAsyncResult() throws.
///
/// Thread safety: one thread at a time.
///
/// Lifetime: a reference to each request is kept until it has ended or is removed. The destructor removes what
/// still runs, and tells it nothing. Connections are kept for further requests while the manager lives, up to
/// four times the number of requests.
///
/// Errors: a failed call of libcurl's multi interface is a CCURLError with the domain "curlm", no texts and the
/// response code -1.
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
    /// Starts libcurl if need be (CGlobalInit) and takes a multi handle.
    /// \throws CError "Error creating curl multi handle."
    CAsyncNetRequestManager();
    CAsyncNetRequestManager(const CAsyncNetRequestManager&) = delete;
    CAsyncNetRequestManager& operator=(const CAsyncNetRequestManager&) = delete;
    ~CAsyncNetRequestManager() override;

    /// How many connections are kept open, those in use included (CURLMOPT_MAXCONNECTS); 0, the default, for four times
    /// the number of requests that run. When there are more, libcurl closes an idle one at the end of some request's
    /// transfer: over FTP and SMTP the reply to its goodbye then stands among that request's replies, and its code may
    /// take the place of the request's response code.
    /// \throws CInvalidArgError for a negative count
    void setMaxConnections(int count);

    /// Starts a transfer. Afterwards the request's done signal is off, also after an error that is not
    /// CURLM_ADDED_ALREADY, and what its last transfer has left is gone.
    /// \throws CInvalidArgError for null
    /// \throws CCURLError CURLM_ADDED_ALREADY, without touching the request, when this manager runs it; what
    ///         libcurl refuses; what the request's source throws when it is rewound
    void addRequest(CNetRequest* request) override;
    /// Takes a request off; its transfer ends where it is.
    /// \return false, and nothing else, when the manager does not run it
    bool removeRequest(CNetRequest* request) override;
    /// Takes all requests off, the newest first. When libcurl refuses one, that one and the older ones stay.
    void removeAllRequests();

    /// How many requests run.
    int getRequestCount() const noexcept { return static_cast<int>(m_requests.size()); }

    /// Lets every transfer go on as far as it can without waiting, and tells those that have ended.
    ///
    /// What a done listener throws is thrown when all of them are told.
    /// \param finished  gets a reference to each request that has ended, in the order of their ends, after what it
    ///                  holds, and after the request was told; may be null. Where memory runs out for the list the
    ///                  request is told and left out, and std::bad_alloc is thrown at the end.
    /// \return how many have ended
    virtual int handleEvents(TArray<P<CNetRequest>>* finished);

    /// Waits until a transfer can go on: until a socket is ready or libcurl wants to be called for another
    /// reason, at most a second, and at most 100 ms while there is no socket to wait for.
    /// \param timeoutMs  at most so many milliseconds; 0 only looks; negative for as long as libcurl allows
    virtual void waitForEvents(int timeoutMs);

protected:
    /// The same for the request at a place of the list, which must exist.
    void removeRequest(int index);
    /// The second half of handleEvents(): tells those that have ended.
    int handleFinishedRequests(TArray<P<CNetRequest>>* finished);

private:
    friend class CAsyncNetRequestThread;

    /// \param wakeUp  ends a wait from another thread
    explicit CAsyncNetRequestManager(const P<zet::CWakeUp>& wakeUp);

    static P<zet::CWakeUp> makeWakeUp();

    /// For the worker thread: addRequest() for a request whose transfer has begun with its hand-over.
    void addAnnouncedRequest(CNetRequest* request);
    /// For the worker thread: from here on the request is told nothing of its transfer, which takeRestart() gives up.
    /// May be called while libcurl calls back.
    void restartLater(CNetRequest* request);
    /// For the worker thread: takes off the oldest request that restartLater() got, unless it was removed since.
    /// \return it; null when there is no more
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
    // Sockets have no place in select()'s sets. For good: connections are kept as long as the manager lives.
    bool m_isBeyondSelect = false;
    bool m_hasTokens = false;  // of its requests at least one has had a cancel token
    const P<zet::CWakeUp> m_wakeUp;
    const P<CNetRequest::ICancelWaker> m_cancelWaker;
};

}  // namespace vexil

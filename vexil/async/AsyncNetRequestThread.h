#pragma once

#include "vexil/BaseTypes.h"
#include "vexil/Export.h"
#include "vexil/async/AsyncEngine.h"
#include "vexil/async/IAsyncNetRequestManager.h"
#include "vexil/net/NetRequest.h"
#include "zet/Mutex.h"
#include "zet/Thread.h"

namespace zet {
class CWakeUp;
}

namespace vexil {

class CAsyncNetRequestManager;

/// A worker thread that runs many requests at once. Any thread may add requests.
///
/// In each pass the worker carries out the restarts, picks up the requests that were added, carries out the
/// removals, waits for events (at most 100 ms), notifies the requests that have ended, and calls the progress
/// handler. Without requests and without a progress handler it waits until it is woken. Adding, removing,
/// restarting and stopping end the wait. The owner of a request waits on the request itself.
///
/// Thread safety: all public members may be called from any thread, including start() and stop().
///
/// Lifetime: the owner keeps its reference until the worker has stopped; the destructor stops it and waits.
/// The destructor must not run on the worker: no listener, handler, source or sink may have the last
/// reference. Remove a request on the stack, or inside another object, before it is destroyed, even if it has
/// ended. Requests that still run when the worker stops are removed without notification; requests not yet
/// picked up stay queued. Once the worker has ended, queued requests and removals are referenced until this
/// object is destroyed: requests on the stack must then outlive it. A derived class that overrides a hook
/// must call `stop(true)` in its own destructor.
///
/// Errors: the worker ends if it cannot start a request (libcurl refuses it, it already runs, or its source
/// cannot be rewound), and if a done listener, the progress handler or an overridden hook throws. isAlive()
/// is then false, getError() returns the error, and no further request is notified. The worker cannot be
/// started again.
///
/// \code
/// P<CAsyncNetRequestThread> thread = new CAsyncNetRequestThread(nullptr);
/// thread->start();
/// thread->addRequest(request);
/// while (!request->waitAsyncDone(1000)) {
///     if (!thread->isAlive()) {
///         throw CError("The worker has ended.");  // thread->getError() has the reason
///     }
/// }
/// request->checkAsyncResult();
/// \endcode
class VEXIL_API CAsyncNetRequestThread : public zet::CThread, public virtual IAsyncNetRequestManager {
public:
    /// Called by the worker at the end of each pass, without a lock: about ten times a second, and more often
    /// while data is transferred.
    class VEXIL_API IProgressHandler : public virtual IBase {
    public:
        /// Called on the worker. An exception ends the worker.
        virtual void onProgress() = 0;

    protected:
        ~IProgressHandler() override;
    };

    /// Creates the worker, named "vexil.asyncNetRequest"; start() starts it.
    /// \param handler  a reference is kept; may be null
    /// \throws CError of domain "system" if the system has no more descriptors
    explicit CAsyncNetRequestThread(IProgressHandler* handler);
    ~CAsyncNetRequestThread() override;

    /// Sets how the worker finds the transfers that can continue. Default Automatic. Call it before start().
    /// \throws CInvalidArgError if the worker runs, and for a value that is not one of the enumeration
    void setEngine(AsyncEngine engine);
    /// Calls CAsyncNetRequestManager::setWaitForMultiplexing() of the worker's manager. Default false. Call
    /// it before start().
    /// \throws CInvalidArgError if the worker runs
    void setWaitForMultiplexing(bool wait);
    /// Calls CAsyncNetRequestManager::setMaxConnectionsPerHost() of the worker's manager. Default 0, no
    /// limit. Call it before start().
    /// \throws CInvalidArgError if the worker runs, and for a negative count
    void setMaxConnectionsPerHost(int count);
    /// Calls CAsyncNetRequestManager::setMaxTotalConnections() of the worker's manager. Default 0, no limit.
    /// Call it before start().
    /// \throws CInvalidArgError if the worker runs, and for a negative count
    void setMaxTotalConnections(int count);

    /// Queues a request and returns at once; a reference is kept. The worker starts the transfer in its next
    /// pass, the newest queued request first. Before start(), and after the worker has ended, requests only
    /// wait. From the call on, the request's done signal is off.
    ///
    /// Adding a running request ends the worker. This also applies to a request whose removal was just
    /// ordered on the worker, because additions are processed before removals: `removeRequest(r);
    /// addRequest(r)` in a listener or handler ends the worker. Use restartRequest() there.
    /// \throws CInvalidArgError for null
    void addRequest(CNetRequest* request) override;
    /// Stops a transfer and returns when the worker has removed the request and dropped its reference, within
    /// one pass. A request that was added but not picked up yet is picked up first.
    ///
    /// On the worker itself (in a listener or handler) it does not wait: the removal follows in the next
    /// pass. Until then do not add the request again; restartRequest() does both.
    /// \param request  null for all running requests
    /// \return true if the request was running (always for null); false on the worker, and if the worker does
    ///         not run: the removal is then queued
    bool removeRequest(CNetRequest* request) override;
    /// Stops all transfers, as removeRequest() does. Requests that are added meanwhile stay.
    void removeAllRequests();
    /// Stops the request's transfer, if it runs, and starts it from the beginning with its current settings.
    /// A request that does not run is added; one that waits to be picked up continues to wait.
    ///
    /// Any thread, including the worker: in a listener, a handler, a source or a sink. On the worker it
    /// returns at once. The next pass carries it out, before additions and removals: a removal that is
    /// ordered in the same pass removes the request again, whichever call came first. On other threads it
    /// waits as removeRequest() does. After it returns, the done signal is off, an earlier cancel() is
    /// forgotten, and neither the signal nor the listener reports the transfer that was stopped.
    /// \throws CInvalidArgError for null
    void restartRequest(CNetRequest* request);

protected:
    /// The function of the worker thread.
    void runImpl() override;
    /// Called on the worker when it stops normally, before the running requests are removed. By default does
    /// nothing.
    virtual void onThreadExit();
    /// Called on the worker once per pass. By default calls `manager.handleEvents(nullptr)`; override it to
    /// collect the requests that have ended.
    virtual void handleManagerEvents(CAsyncNetRequestManager& manager);
    /// Ends the worker's wait.
    void onStopRequested() override;

    /// Sets whether the worker waits without a limit while no request runs and there is no progress handler.
    /// Default false in derived classes, whose hooks are then called about ten times a second. Call it before
    /// start().
    void setWithoutIdlePasses(bool isWithout) noexcept { m_isWithoutIdlePasses = isWithout; }

    /// Carries out the queued removals, the newest first. Call it on the worker.
    void processRemoveRequests(CAsyncNetRequestManager& manager);

private:
    class CRemoveRequest;

    P<CRemoveRequest> orderRemoval(CNetRequest* request);
    bool waitForRemoval(CRemoveRequest& order);
    void withdrawRemoval(const CRemoveRequest* order);
    bool isOnWorker() const;
    bool needsIdlePasses() const noexcept;
    bool announceIfWaiting(CNetRequest* request);
    void processRestarts(CAsyncNetRequestManager& manager);
    void processAddRequests(CAsyncNetRequestManager& manager);
    std::size_t countRemovals();
    void carryOutOldestRemovals(std::size_t count, CAsyncNetRequestManager& manager)
        ZET_REQUIRES(m_removeMutex);

    zet::CMutex m_addMutex;
    TArray<P<CNetRequest>> m_addQueue ZET_GUARDED_BY(m_addMutex);
    zet::CMutex m_removeMutex;
    TArray<P<CRemoveRequest>> m_removeQueue ZET_GUARDED_BY(m_removeMutex);
    const P<IProgressHandler> m_progressHandler;
    const P<zet::CWakeUp> m_wakeUp;
    AsyncEngine m_engine = AsyncEngine::Automatic;
    bool m_waitsForMultiplexing = false;
    int m_maxConnectionsPerHost = 0;
    int m_maxTotalConnections = 0;
    bool m_isWithoutIdlePasses = false;
    CAsyncNetRequestManager* m_manager = nullptr;  // used only on the worker
};

}  // namespace vexil

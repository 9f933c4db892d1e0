#pragma once

#include "vexil/BaseTypes.h"
#include "vexil/Export.h"
#include "vexil/async/IAsyncNetRequestManager.h"
#include "vexil/net/NetRequest.h"
#include "zet/Mutex.h"
#include "zet/Thread.h"

namespace zet {
class CWakeUp;
}

namespace vexil {

class CAsyncNetRequestManager;

/// A worker thread that runs many requests at once, handed to it from any thread.
///
/// A pass of the worker carries out the restarts, takes over the requests that were added, carries out the removals,
/// waits for events, at most 100 ms, tells the requests that have ended, and calls the progress handler. Adding, removing,
/// restarting and stopping end the wait. The owner of a request waits on the request itself.
///
/// Thread safety: everything public may be called from any thread, start() and stop() included.
///
/// Lifetime: the owner keeps its reference until the worker has stopped; the destructor stops it and waits. It
/// must not run on the worker: no listener, handler, source or sink may hold the last reference. A request on the
/// stack, or inside another object, is removed before it goes, even when it has ended. Requests that still run
/// when the worker stops are taken off and told nothing; those that it had not yet taken over stay in its list.
/// What waits when the worker has ended, removals too, is referenced until this object goes: requests on the
/// stack have to outlive it then. A derived class that overrides a hook calls `stop(true)` in its own destructor.
///
/// Errors: a failed hand-over (libcurl refuses the request, runs it already, or its source cannot be rewound), and
/// what a done listener, the progress handler or an overridden hook throws, ends the worker: isAlive() is
/// false then, getError() tells why, and no further request is told anything. It can not be started again.
///
/// \code
/// P<CAsyncNetRequestThread> thread = new CAsyncNetRequestThread(nullptr);
/// thread->start();
/// thread->addRequest(request);
/// while (!request->waitAsyncDone(1000)) {
///     if (!thread->isAlive()) {
///         throw CError("The worker has ended.");  // thread->getError() tells why
///     }
/// }
/// request->checkAsyncResult();
/// \endcode
class VEXIL_API CAsyncNetRequestThread : public zet::CThread, public virtual IAsyncNetRequestManager {
public:
    /// Called by the worker at the end of each pass, with no lock held: at least about ten times a second, and
    /// more often while data comes and goes.
    class VEXIL_API IProgressHandler : public virtual IBase {
    public:
        /// Called on the worker. What it throws ends the worker.
        virtual void onProgress() = 0;

    protected:
        ~IProgressHandler() override;
    };

    /// Makes the worker, named "vexil.asyncNetRequest"; start() starts it.
    /// \param handler  a reference is kept; may be null
    /// \throws CError of domain "system" when the system has no more descriptors
    explicit CAsyncNetRequestThread(IProgressHandler* handler);
    ~CAsyncNetRequestThread() override;

    /// Hands over a request, of which a reference is kept, and returns at once. The worker starts its transfer in
    /// its next pass; of several requests that wait for it, the newest first. Before start(), and after the
    /// worker's end, requests only wait. The request's done signal is off from here on.
    ///
    /// A request that runs is refused, and the refusal ends the worker. That is so for one whose removal was ordered
    /// on the worker just before, too, as additions are taken over before removals are carried out:
    /// `removeRequest(r); addRequest(r)` in a listener or handler ends the worker. There restartRequest() is safe.
    /// \throws CInvalidArgError for null
    void addRequest(CNetRequest* request) override;
    /// Gives up a transfer and returns when it is off the worker, which then holds no reference any more: within
    /// a pass. A request that was added but not taken over yet is taken over first.
    ///
    /// On the worker itself (in a listener, a handler) it does not wait: the removal follows in the next pass. Until
    /// then the request must not be added again; restartRequest() does both.
    /// \param request  null for all that run
    /// \return whether the request was running (true for null); false on the worker, and when the worker does not
    ///         run: the removal then waits for it
    bool removeRequest(CNetRequest* request) override;
    /// Gives up all transfers, as removeRequest() does. Requests that are added meanwhile stay.
    void removeAllRequests();
    /// Gives up the request's transfer, if it runs, and begins it from the start, with the settings that it has then.
    /// A request that does not run is added; one that waits to be taken over goes on waiting.
    ///
    /// On any thread, the worker included: in a listener, a handler, a source or a sink. On the worker it returns at
    /// once, and the next pass carries it out, before additions and removals: a removal that is ordered in the same
    /// pass takes the request off again, whichever call came first. On other threads it waits as removeRequest()
    /// does. From its return on the done signal is off, an earlier cancel() is forgotten, and neither the signal nor
    /// the listener tells of the transfer that was given up.
    /// \throws CInvalidArgError for null
    void restartRequest(CNetRequest* request);

protected:
    /// The worker's body.
    void runImpl() override;
    /// Called on the worker when it stops in order, before what still runs is taken off. Here it does nothing.
    virtual void onThreadExit();
    /// Called on the worker once a pass. Here it calls `manager.handleEvents(nullptr)`; override it to collect the
    /// requests that have ended.
    virtual void handleManagerEvents(CAsyncNetRequestManager& manager);
    /// Ends the worker's wait.
    void onStopRequested() override;

    /// Carries out the removals that wait, the newest first, on the worker.
    void processRemoveRequests(CAsyncNetRequestManager& manager);

private:
    class CRemoveRequest;

    P<CRemoveRequest> orderRemoval(CNetRequest* request);
    bool waitForRemoval(CRemoveRequest& order);
    void withdrawRemoval(const CRemoveRequest* order);
    bool isOnWorker() const;
    bool announceIfWaiting(CNetRequest* request);
    void processRestarts(CAsyncNetRequestManager& manager);
    void processAddRequests(CAsyncNetRequestManager& manager);

    zet::CMutex m_addMutex;
    TArray<P<CNetRequest>> m_addQueue;  // guarded by m_addMutex
    zet::CMutex m_removeMutex;
    TArray<P<CRemoveRequest>> m_removeQueue;  // guarded by m_removeMutex
    const P<IProgressHandler> m_progressHandler;
    const P<zet::CWakeUp> m_wakeUp;
    CAsyncNetRequestManager* m_manager = nullptr;  // only on the worker
};

}  // namespace vexil

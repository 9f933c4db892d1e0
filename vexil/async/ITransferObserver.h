#pragma once

#include "vexil/BaseTypes.h"
#include "vexil/Export.h"
#include "vexil/net/NetRequest.h"

namespace vexil {

/// Watches a CTransferQueue, for a program that shows progress, logs transfers or stops at a signal. Each
/// function does nothing by default.
///
/// Thread safety: called on the thread that uses the queue. Must not use the queue.
///
/// Errors: an exception ends the queue: CTransferQueue::start() or finish() throws it. That of onGivenUp() is
/// logged.
class VEXIL_API ITransferObserver : public virtual IBase {
public:
    /// Called at least ten times a second while the queue waits, before it looks at the results of transfers.
    /// Throws to stop.
    virtual void checkContinue();
    /// Called for a prepared request, before its transfer begins.
    virtual void onStart(CNetRequest& request);
    /// Called at least ten times a second for each request of the queue.
    virtual void onProgress(CNetRequest& request);
    /// Called when a transfer has ended, before its result is judged.
    virtual void onEnd(CNetRequest& request);
    /// Called when the server refuses one more connection: fewer transfers run at once from now on.
    /// \param count  the new number of transfers at once, at least 1
    virtual void onFewerTransfers(int count);
    /// Called when the server accepts only the connection of ITransferPolicy::getOwnRequest(): all transfers
    /// use it from now on.
    virtual void onOneConnection();
    /// Called when ITransferJob::onFailure() has thrown, which ends the queue.
    /// \param request  the request of the job that has failed. Keep a reference to examine it later
    virtual void onFatalFailure(CNetRequest& request);
    /// Called by the destructor of the queue for each transfer that was still running, after the worker has
    /// ended.
    virtual void onGivenUp(CNetRequest& request);

protected:
    ~ITransferObserver() override;
};

}  // namespace vexil

#pragma once

#include "vexil/BaseTypes.h"
#include "vexil/Export.h"
#include "vexil/net/NetRequest.h"

namespace vexil {

/// One transfer of a CTransferQueue: it prepares a request, checks its response, and decides when to begin
/// again. It may need several requests, one after another.
///
/// Thread safety: the queue calls it on the thread that uses the queue. The worker uses only the sources,
/// sinks and listeners that it has set on the request.
///
/// Lifetime: it is not counted; its job owns it (ITransferJob::getTransfer()).
class VEXIL_API ITransfer {
public:
    virtual ~ITransfer();

    /// Sets everything on the request, at first and before each new try. At first the request is as after
    /// reset(). Later it has the settings and results of the last try.
    /// \throws errors that make the job fail at once
    virtual void prepare(CNetRequest& request) = 0;
    /// Called after the policy has found no failure (ITransferPolicy::checkResult()).
    /// \throws CError if the response shows that it is not a success: a failure like any other, which is
    ///         tried again if it is temporary, see makeTransientError()
    virtual void checkResponse(CNetRequest& request) = 0;
    /// Called after checkResponse(). False if the transfer needs another request; prepare() is then called
    /// again. True by default.
    [[nodiscard]] virtual bool isComplete() const { return true; }
    /// Called after each failure of the request or of its check, while tries are left. True: prepare and run
    /// it again, whatever the failure is, which counts as a try. False, the default: the policy decides
    /// whether the failure is temporary.
    /// \throws CError with a better reason than the given one, which then ends the transfer
    [[nodiscard]] virtual bool canBeginAgain(CNetRequest& request, const CError& error);
    /// Called when the transfer is not tried again. True: it continues in another way, and prepare() is
    /// called. This does not count as a try: the transfer itself must make sure that it ends. False by
    /// default.
    /// \throws CError with a better reason than the given one
    [[nodiscard]] virtual bool canFallBack(CNetRequest& request, const CError& error);
};

}  // namespace vexil

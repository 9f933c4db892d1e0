#pragma once

#include "vexil/BaseTypes.h"
#include "vexil/Export.h"
#include "vexil/async/ITransfer.h"
#include "vexil/net/TryLog.h"

namespace vexil {

/// A transfer for CTransferQueue, and what becomes of it. The queue calls either onSuccess() or onFailure()
/// at its end, unless the job is given up: see CTransferQueue. makeTransferJob() makes one of functions.
///
/// Thread safety: called on the thread that uses the queue. A job must not use its queue.
class VEXIL_API ITransferJob : public virtual IBase {
public:
    /// The transfer. It is made at the first call, and lives as long as the job.
    /// \throws errors that make the job fail, at the first call only
    [[nodiscard]] virtual ITransfer& getTransfer() = 0;
    /// Called before each call of ITransfer::prepare(), with the same request. Does nothing by default.
    virtual void onAttach(CNetRequest& request);
    /// Called when the request no longer belongs to the job: after onSuccess(), before onFailure(), and if
    /// the job must wait for another connection. Does nothing by default. It is not called for a job that is
    /// given up.
    virtual void onDetach(CNetRequest& request) noexcept;

    /// Called when the transfer is done. An exception is passed to onFailure().
    /// \param request  has the response of the last request of the transfer, until this function returns
    virtual void onSuccess(CNetRequest& request) = 0;
    /// Called when it has failed for good. An exception ends the queue and all other jobs.
    virtual void onFailure(const CError& error) = 0;
    /// Called before onSuccess() or onFailure() with all requests of the transfer, if the queue keeps them
    /// (CTransferQueue::setRecordsTries()). Does nothing by default. An exception ends the
    /// queue and all other jobs.
    virtual void onTries(const CTryLog& tries);

protected:
    ~ITransferJob() override;
};

}  // namespace vexil

#pragma once

#include "apps/vexil/transfer/Transfer.h"

namespace vexil::app {

class CFileProgress;

/// A transfer for CTransferQueue, and what becomes of it. The queue calls one of the two functions at its
/// end, unless it is given up.
class ITransferJob {
public:
    virtual ~ITransferJob() = default;

    /// The transfer. It is made at the first call and lives as long as the job.
    /// \throws errors that make the job fail, at the first call only
    virtual ITransfer& getTransfer() = 0;
    /// Receives the number of transferred bytes; null, the default, for nobody.
    virtual CFileProgress* getProgress() { return nullptr; }

    /// Called when the transfer is done. An exception is passed to onFailure().
    virtual void onSuccess() = 0;
    /// Called when it has failed for good. An exception ends the queue and all other jobs.
    virtual void onFailure(const CError& error) = 0;
};

}  // namespace vexil::app

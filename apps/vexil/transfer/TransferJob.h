#pragma once

#include "apps/vexil/transfer/Transfer.h"

namespace vexil::app {

/// A transfer for CTransferQueue, which calls one of the two functions at its end, unless it is given up.
class ITransferJob : public ITransfer {
public:
    /// Called when the transfer is done. An exception is passed to onFailure().
    virtual void onSuccess() = 0;
    /// Called when it has failed for good. An exception ends the queue and all other jobs.
    virtual void onFailure(const CError& error) = 0;
};

}  // namespace vexil::app

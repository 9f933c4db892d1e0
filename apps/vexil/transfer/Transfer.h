#pragma once

#include "vexil/net/NetRequest.h"

namespace vexil::app {

/// One transfer: it prepares a request, checks its response, and decides when to begin again.
/// runSingleTransfer() runs it at once, CTransferQueue runs it with others.
///
/// Its functions are called on one thread. Only the request's source and sink are used by the thread that
/// drives it.
class ITransfer {
public:
    virtual ~ITransfer();

    /// Configures the request, at first and before each new try.
    virtual void prepare(CNetRequest& request) = 0;
    /// Called after the server has reported success.
    /// \throws CError if the response shows that it is not a success
    virtual void checkAnswer(CNetRequest& request) = 0;
    /// Called after checkAnswer(). False if the transfer needs another request; prepare() is then called
    /// again.
    virtual bool isComplete() const { return true; }
    /// Called when the transfer or the check of its response has failed for good. True: prepare and run it
    /// again, which counts as a try. Only called while tries are left.
    /// \throws CError with a better reason than the given one
    virtual bool canBeginAnew(CNetRequest& request, const CError& error) = 0;
    /// Called when the transfer is not tried again. True: it continues in another way, and prepare() is
    /// called. This does not count as a try: the transfer itself must make sure that it ends. False by
    /// default.
    /// \throws CError with a better reason than the given one
    virtual bool canFallBack(CNetRequest& request, const CError& error);
};

/// Removes source and sink from a request, so that it does not keep files open.
void releaseStreams(CNetRequest& request);

}  // namespace vexil::app

#pragma once

#include "vexil/net/NetRequest.h"

namespace vexil::app {

/// What is to be transferred: how a request is prepared for it, what its answer must be like, and when it is begun
/// anew. Who runs it is another's concern: runSingleTransfer() at once, CTransferQueue beside others.
///
/// Called on one thread. Only the request's source and sink are used by the thread that drives it.
class ITransfer {
public:
    virtual ~ITransfer();

    /// Configures the request, at first and whenever it is begun anew.
    virtual void prepare(CNetRequest& request) = 0;
    /// Called when the server has told success.
    /// \throws CError when the answer proves that it is none
    virtual void checkAnswer(CNetRequest& request) = 0;
    /// Called behind checkAnswer(). False where a further request belongs to the transfer, for which prepare() is called
    /// then.
    virtual bool isComplete() const { return true; }
    /// Whether a transfer that has failed, beyond what the client tries again, or whose answer has, shall be
    /// prepared and run once more. That counts as a further try; it is asked only while one is left.
    /// \throws CError that tells better than the given one why not
    virtual bool canBeginAnew(CNetRequest& request, const CError& error) = 0;
    /// Whether a transfer that is not tried again goes on in another way, for which prepare() is called then. That is no
    /// further try: the transfer itself sees to it that it ends. False by default.
    /// \throws CError that tells better than the given one what has failed
    virtual bool canFallBack(CNetRequest& request, const CError& error);
};

/// Lets a request go of source and sink, so that files are not kept open by it.
void releaseStreams(CNetRequest& request);

}  // namespace vexil::app

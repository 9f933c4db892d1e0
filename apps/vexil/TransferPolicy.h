#pragma once

#include "vexil/net/NetRequest.h"

#include <chrono>
#include <optional>

namespace vexil::app {

/// How a kind of server is treated by CTransferQueue: what its answers mean, and when a transfer that has failed is
/// tried again. One thread.
class ITransferPolicy {
public:
    virtual ~ITransferPolicy();

    /// Throws what has failed in a transfer that has ended.
    virtual void checkResult(CNetRequest& request) = 0;
    /// After which pause a failed transfer is tried again, which counts then; none where it is not.
    /// \param tries  how often it was tried so far, from 1
    virtual std::optional<std::chrono::milliseconds> decideRetry(const CError& error, int tries) = 0;
    /// Whether a transfer may be tried again at all, as far as its number of tries goes.
    /// \param tries  as above
    virtual bool mayTryAgain(int tries) const = 0;
    /// Whether ITransfer::prepare() comes before a further try. Else the request is sent again as it stands.
    virtual bool preparesFurtherTries() const = 0;
    /// Whether a transfer has failed because the server refuses a further connection beside those that it has. Such a
    /// transfer then waits for the end of another one.
    virtual bool isRefusedConnection(CNetRequest& request, const CError& error) const = 0;

    /// The request for single operations, which performHere() performs over a connection of its own; null, the default, if
    /// there is none.
    virtual P<CNetRequest> getOwnRequest() const { return nullptr; }
    /// Performs that request, or another one, on this thread. What comes of it is for checkResult().
    virtual void performHere(CNetRequest&) {}

    /// How often something was tried again.
    virtual int64 getRetryCount() const = 0;
};

}  // namespace vexil::app

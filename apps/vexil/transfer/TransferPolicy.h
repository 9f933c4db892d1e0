#pragma once

#include "apps/vexil/transfer/Patience.h"
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
    /// After which pause a transfer is tried again that has failed for now, which counts then; nothing if it is not.
    virtual std::optional<std::chrono::milliseconds> decideRetry(CNetRequest& request, const CError& error,
                                                                 CPatience::Failures& failures) = 0;
    /// The same for a transfer that wants to be begun again, whatever has failed.
    virtual std::optional<std::chrono::milliseconds> decidePause(CNetRequest& request, const CError& error,
                                                                 CPatience::Failures& failures) = 0;
    /// Whether a transfer may be tried again at all, as far as its number of tries goes.
    virtual bool mayTryAgain(const CPatience::Failures& failures) const = 0;
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

protected:
    /// Whether the last transfer has moved bytes of a file, and not only a refusal.
    static bool hasMovedBytes(CNetRequest& request, const CError& error);
};

}  // namespace vexil::app

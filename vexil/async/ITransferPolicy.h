#pragma once

#include "vexil/BaseTypes.h"
#include "vexil/Export.h"
#include "vexil/net/NetRequest.h"
#include "vexil/net/RetryPolicy.h"

#include <chrono>
#include <optional>

namespace vexil {

/// How CTransferQueue treats a kind of server: it judges results, and decides when a failed transfer is tried
/// again. CTransferPolicy is the one for most uses.
///
/// Thread safety: called on the thread that uses the queue.
class VEXIL_API ITransferPolicy : public virtual IBase {
public:
    /// Throws the error of a transfer that has ended, see CNetRequest::checkAsyncResult().
    virtual void checkResult(CNetRequest& request) = 0;
    /// Delay before the next try after a failure, which is then counted; nullopt if it is not temporary, or
    /// to give up.
    [[nodiscard]] virtual std::optional<std::chrono::milliseconds>
    decideRetry(CNetRequest& request, const CError& error, CRetryPolicy::Failures& failures) = 0;
    /// The same for a transfer that begins again after any failure (ITransfer::canBeginAgain()).
    [[nodiscard]] virtual std::optional<std::chrono::milliseconds>
    decidePause(CNetRequest& request, const CError& error, CRetryPolicy::Failures& failures) = 0;
    /// Whether the number of tries allows one more.
    [[nodiscard]] virtual bool mayTryAgain(const CRetryPolicy::Failures& failures) const = 0;
    /// Whether a transfer has failed because the server refuses one more connection. The transfer then waits
    /// for the end of another one. False by default.
    [[nodiscard]] virtual bool isRefusedConnection(CNetRequest& request, const CError& error) const;

    /// A request of the caller, whose connection the transfers use if the server accepts no other one; null,
    /// the default, for no such request. performHere() performs it.
    [[nodiscard]] virtual P<CNetRequest> getOwnRequest() const;
    /// Performs that request on this thread. checkResult() then judges the result. Does nothing by default.
    virtual void performHere(CNetRequest& request);

protected:
    ~ITransferPolicy() override;
};

}  // namespace vexil

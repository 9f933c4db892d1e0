#pragma once

#include "apps/vexil/base/ErrorDiagnosis.h"
#include "apps/vexil/transfer/Patience.h"
#include "vexil/net/NetRequest.h"

#include <chrono>
#include <optional>

namespace vexil::app {

/// How CTransferQueue treats a kind of server: it judges responses, and decides when a failed transfer is
/// tried again. One thread.
class ITransferPolicy {
public:
    virtual ~ITransferPolicy();

    /// Throws the error of a transfer that has ended.
    virtual void checkResult(CNetRequest& request) = 0;
    /// Delay before the next try after a temporary failure, which is then counted; nullopt to give up.
    virtual std::optional<std::chrono::milliseconds> decideRetry(CNetRequest& request, const CError& error,
                                                                 CPatience::Failures& failures) = 0;
    /// The same for a transfer that wants to begin again after any failure.
    virtual std::optional<std::chrono::milliseconds> decidePause(CNetRequest& request, const CError& error,
                                                                 CPatience::Failures& failures) = 0;
    /// Whether the number of tries allows one more.
    virtual bool mayTryAgain(const CPatience::Failures& failures) const = 0;
    /// Whether a transfer has failed because the server refuses one more connection. The transfer then waits
    /// for the end of another one.
    virtual bool isRefusedConnection(CNetRequest& request, const CError& error) const = 0;

    /// What an error means for further transfers. By default, what diagnoseTransfer() says.
    virtual CErrorDiagnosis diagnose(const CError& error) const;

    /// The request for single operations, which performHere() performs over its own connection; null, the
    /// default, if there is none.
    virtual P<CNetRequest> getOwnRequest() const { return nullptr; }
    /// Performs that request, or another one, on this thread. checkResult() then judges the result.
    virtual void performHere(CNetRequest&) {}

    /// The number of retries so far.
    virtual int64 getRetryCount() const = 0;

protected:
    /// Whether the last transfer has moved bytes of a file, and not only a refusal.
    static bool hasMovedBytes(CNetRequest& request, const CError& error);
};

}  // namespace vexil::app

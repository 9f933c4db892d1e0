#pragma once

#include "vexil/BaseTypes.h"
#include "vexil/Export.h"

#include <chrono>

namespace vexil {

/// Counts requests for the metrics of a program: see CS3Client::setMetrics(), CTransferQueue::setMetrics()
/// and CS3TransferSettings::metrics. Each function does nothing by default. CTransferMetrics is one that
/// counts.
///
/// A request that was tried again counts as a request for each try. Requests that an operation sends by
/// itself within one try, such as after a redirect, count as one, with the bytes of the last one.
///
/// Thread safety: called on the thread that uses the client or the queue. One object may serve several of
/// them on several threads: its functions are then called at the same time.
///
/// Errors: the functions must not throw.
class VEXIL_API ITransferMetrics : public virtual IBase {
public:
    /// Called when a request has ended, with or without success.
    /// \param uploadedBytes, downloadedBytes  of bodies
    virtual void onRequest(int64 uploadedBytes, int64 downloadedBytes,
                           std::chrono::microseconds duration) noexcept;
    /// Called after onRequest() if the request has failed, also if it is tried again.
    virtual void onError(ErrorKind kind) noexcept;
    /// Called after onError() if the request is tried again.
    virtual void onRetry(std::chrono::milliseconds pause) noexcept;

protected:
    ~ITransferMetrics() override;
};

}  // namespace vexil

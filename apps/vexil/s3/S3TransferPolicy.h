#pragma once

#include "apps/vexil/s3/S3Diagnosis.h"
#include "apps/vexil/transfer/ServerPolicy.h"
#include "vexil/net/RetryPolicy.h"

namespace vexil::app {

/// The policy of S3 transfers: temporary failures (isTransientError()) are tried again as the retry
/// policy allows, prepared and signed again.
class CS3TransferPolicy : public virtual CBase, public IServerPolicy {
public:
    /// The retry policy must outlive it.
    explicit CS3TransferPolicy(CRetryPolicy& retryPolicy) : m_retryPolicy(retryPolicy) {}
    /// Set it if the transfers have a CS3SigningDetour, which cares for refused clocks. Default false.
    void setHasDetours(bool hasDetours) noexcept { m_hasDetours = hasDetours; }

    void checkResult(CNetRequest& request) override;
    std::optional<std::chrono::milliseconds> decideRetry(CNetRequest& request, const CError& error,
                                                         CRetryPolicy::Failures& failures) override;
    /// The same for an operation of the client, outside a queue.
    [[nodiscard]] std::optional<std::chrono::milliseconds>
    decideOperationRetry(CNetRequest& request, const CError& error, CRetryPolicy::Failures& failures);
    std::optional<std::chrono::milliseconds> decidePause(CNetRequest& request, const CError& error,
                                                         CRetryPolicy::Failures& failures) override;
    bool mayTryAgain(const CRetryPolicy::Failures& failures) const override {
        return m_retryPolicy.mayTryAgain(failures);
    }
    bool isRefusedConnection(CNetRequest&, const CError&) const override { return false; }
    CErrorDiagnosis diagnose(const CError& error) const override { return diagnoseS3(error); }
    /// Must be called for a success that checkResult() does not see.
    void onSuccess() { m_retryPolicy.onSuccess(); }
    /// Must be called for each retry of the retry policy and of its copies.
    void countRetry() noexcept { ++m_retryCount; }
    int64 getRetryCount() const override { return m_retryCount; }

private:
    CRetryPolicy& m_retryPolicy;
    bool m_hasDetours = false;
    int64 m_retryCount = 0;
};

}  // namespace vexil::app

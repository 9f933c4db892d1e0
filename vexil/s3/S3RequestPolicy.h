#pragma once

#include "vexil/async/ITransferPolicy.h"
#include "vexil/s3/S3Client.h"

namespace vexil {

/// How a CTransferQueue treats S3 requests: temporary failures are tried again as a retry policy allows,
/// prepared and signed again. Each transfer must have a CS3SigningDetour for refused regions and clocks.
///
/// All requests are repeated, also a POST: to begin an upload twice leaves one without parts, to complete it
/// twice is refused.
class CS3RequestPolicy : public virtual CBase, public ITransferPolicy {
public:
    /// \param client  checks the responses. It must outlive this object
    CS3RequestPolicy(CS3Client& client, const CRetryPolicy& retryPolicy)
        : m_client(client), m_retryPolicy(retryPolicy) {}

    /// How often a request was tried again since the last call of setRetryPolicy().
    int64 getRetryCount() const noexcept { return m_retryPolicy.getRetryCount(); }
    /// For the requests that follow.
    void setRetryPolicy(const CRetryPolicy& retryPolicy) { m_retryPolicy = retryPolicy; }

    void checkResult(CNetRequest& request) override;
    [[nodiscard]] std::optional<std::chrono::milliseconds>
    decideRetry(CNetRequest& request, const CError& error, CRetryPolicy::Failures& failures) override;
    [[nodiscard]] std::optional<std::chrono::milliseconds>
    decidePause(CNetRequest& request, const CError& error, CRetryPolicy::Failures& failures) override;
    [[nodiscard]] bool mayTryAgain(const CRetryPolicy::Failures& failures) const override {
        return m_retryPolicy.mayTryAgain(failures);
    }

private:
    CS3Client& m_client;
    CRetryPolicy m_retryPolicy;
};

}  // namespace vexil

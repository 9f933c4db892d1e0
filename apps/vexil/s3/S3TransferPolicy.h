#pragma once

#include "apps/vexil/s3/S3Diagnosis.h"
#include "apps/vexil/transfer/TransferPolicy.h"

namespace vexil::app {

/// The policy of S3 transfers: temporary failures (isTransientError()) are tried again as the patience
/// allows, prepared and signed again.
class CS3TransferPolicy : public ITransferPolicy {
public:
    /// The patience must outlive it.
    explicit CS3TransferPolicy(CPatience& patience) : m_patience(patience) {}

    void checkResult(CNetRequest& request) override;
    std::optional<std::chrono::milliseconds> decideRetry(CNetRequest& request, const CError& error,
                                                         CPatience::Failures& failures) override;
    std::optional<std::chrono::milliseconds> decidePause(CNetRequest& request, const CError& error,
                                                         CPatience::Failures& failures) override;
    bool mayTryAgain(const CPatience::Failures& failures) const override {
        return m_patience.mayTryAgain(failures);
    }
    bool isRefusedConnection(CNetRequest&, const CError&) const override { return false; }
    CErrorDiagnosis diagnose(const CError& error) const override { return diagnoseS3(error); }
    /// Must be called for a success that checkResult() does not see.
    void onSuccess() { m_patience.onSuccess(); }
    int64 getRetryCount() const override { return m_patience.getRetryCount(); }

private:
    CPatience& m_patience;
};

}  // namespace vexil::app

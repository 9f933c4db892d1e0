#pragma once

#include "apps/vexil/CountingS3Client.h"
#include "apps/vexil/TransferPolicy.h"

namespace vexil::app {

/// Treats transfers as CS3Client::performRequest() does: tried again as they stand, after 100 ms, and as often as the
/// client allows.
class CS3TransferPolicy : public ITransferPolicy {
public:
    /// The client must outlive it.
    explicit CS3TransferPolicy(CCountingS3Client& client) : m_client(client) {}

    void checkResult(CNetRequest& request) override;
    std::optional<std::chrono::milliseconds> decideRetry(const CError& error, int tries) override;
    bool mayTryAgain(int tries) const override { return tries <= m_client.getRetryLimit(); }
    bool preparesFurtherTries() const override { return false; }
    bool isRefusedConnection(CNetRequest&, const CError&) const override { return false; }
    int64 getRetryCount() const override { return m_client.getRetryCount(); }

private:
    CCountingS3Client& m_client;
};

}  // namespace vexil::app

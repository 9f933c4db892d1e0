#pragma once

#include "apps/vexil/transfer/ServerPolicy.h"

namespace vexil::app {

/// The policy of a store without a server: it has no transfers, so nothing is tried again.
class CFolderPolicy : public virtual CBase, public IServerPolicy {
public:
    void checkResult(CNetRequest&) override {}
    std::optional<std::chrono::milliseconds> decideRetry(CNetRequest&, const CError&,
                                                         CRetryPolicy::Failures&) override {
        return std::nullopt;
    }
    std::optional<std::chrono::milliseconds> decidePause(CNetRequest&, const CError&,
                                                         CRetryPolicy::Failures&) override {
        return std::nullopt;
    }
    bool mayTryAgain(const CRetryPolicy::Failures&) const override { return false; }
    int64 getRetryCount() const override { return 0; }
};

}  // namespace vexil::app

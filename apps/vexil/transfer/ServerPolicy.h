#pragma once

#include "apps/vexil/base/ErrorDiagnosis.h"
#include "vexil/async/ITransferPolicy.h"
#include "vexil/net/NetRequest.h"

namespace vexil::app {

/// How the program treats a kind of server: the policy of its transfers, and the meaning of their errors.
class IServerPolicy : public virtual ITransferPolicy {
public:
    /// What an error means for further transfers. By default, what diagnoseTransfer() says.
    virtual CErrorDiagnosis diagnose(const CError& error) const;
    /// The number of retries so far.
    virtual int64 getRetryCount() const = 0;

protected:
    ~IServerPolicy() override;

    /// Whether the last transfer has moved bytes of a file, and not only a refusal.
    static bool hasMovedBytes(CNetRequest& request, const CError& error);
};

}  // namespace vexil::app

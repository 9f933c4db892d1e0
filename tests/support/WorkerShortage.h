/// \file
/// Failing allocations also on the workers of transfers.
#pragma once

#include "tests/support/FailingAllocations.h"
#include "vexil/net/FunctionRequestSetup.h"
#include "vexil/net/NetRequest.h"

namespace vexil_test {

/// Lets each thread that performs a request participate in FailingAllocations.
inline vexil::P<vexil::INetRequestSetup> makeShortageSetup() {
    class Participant : public virtual vexil::CBase, public vexil::CNetRequest::ITransferProgress {
    public:
        void onProgress(vexil::int64, vexil::int64, vexil::int64, vexil::int64) override {
            FailingAllocations::takePart();
        }
    };
    const vexil::P<vexil::CNetRequest::ITransferProgress> participant = zet::make<Participant>();
    return vexil::makeRequestSetup(
        [participant](vexil::CNetRequest& request) { request.setTransferProgress(participant); });
}

}  // namespace vexil_test

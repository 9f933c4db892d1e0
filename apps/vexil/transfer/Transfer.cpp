#include "apps/vexil/transfer/Transfer.h"

#include "vexil/net/NetRequest.h"

namespace vexil::app {

ITransfer::~ITransfer() = default;

bool ITransfer::canFallBack(CNetRequest&, const CError&) {
    return false;
}

void releaseStreams(CNetRequest& request) {
    request.setSendDataSource(nullptr);
    request.setDefaultReceiveDataStream();
}

}  // namespace vexil::app

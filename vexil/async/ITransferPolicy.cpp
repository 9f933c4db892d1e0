#include "vexil/async/ITransferPolicy.h"

namespace vexil {

ITransferPolicy::~ITransferPolicy() = default;

bool ITransferPolicy::isRefusedConnection(CNetRequest&, const CError&) const {
    return false;
}

P<CNetRequest> ITransferPolicy::getOwnRequest() const {
    return nullptr;
}

void ITransferPolicy::performHere(CNetRequest&) {}

}  // namespace vexil

#include "vexil/async/ITransfer.h"

namespace vexil {

ITransfer::~ITransfer() = default;

bool ITransfer::canBeginAgain(CNetRequest&, const CError&) {
    return false;
}

bool ITransfer::canFallBack(CNetRequest&, const CError&) {
    return false;
}

}  // namespace vexil

#include "apps/vexil/TransferPolicy.h"

namespace vexil::app {

ITransferPolicy::~ITransferPolicy() = default;

}  // namespace vexil::app

#pragma once

#include "apps/vexil/transfer/Transfer.h"

namespace vexil::app {

class CContext;

class ITransferPolicy;

/// Runs one transfer with all the tries that the policy wants, and shows how it goes on.
/// \throws what has ended it
void runSingleTransfer(CContext& context, ITransferPolicy& policy, ITransfer& transfer);

}  // namespace vexil::app

#pragma once

#include "apps/vexil/transfer/Transfer.h"

namespace vexil::app {

class CContext;

class ITransferPolicy;

/// Runs one transfer with all tries that the policy allows, and shows its progress.
/// \throws the error that has ended it
void runSingleTransfer(CContext& context, ITransferPolicy& policy, ITransfer& transfer);

}  // namespace vexil::app

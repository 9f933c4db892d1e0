#pragma once

#include "apps/vexil/transfer/Transfer.h"

namespace vexil::app {

class CSession;

class ITransferPolicy;

/// Runs one transfer with all tries that the policy allows, and shows its progress.
/// \throws the error that has ended it
void runSingleTransfer(CSession& session, ITransferPolicy& policy, ITransfer& transfer);

}  // namespace vexil::app

#pragma once

#include "vexil/async/ITransfer.h"

namespace vexil::app {

class CSession;
class IServerPolicy;

/// Runs one transfer with all tries that the policy allows, and shows its progress.
/// \throws the error that has ended it
void runSingleTransfer(CSession& session, IServerPolicy& policy, ITransfer& transfer);
/// The same without progress.
void runQuietTransfer(CSession& session, IServerPolicy& policy, ITransfer& transfer);

}  // namespace vexil::app

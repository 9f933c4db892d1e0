#pragma once

#include "apps/vexil/transfer/Patience.h"

namespace vexil::app {

class CSession;

/// The patience that the options ask for. Its pauses are told on the console of the session, which must
/// outlive it.
CPatience::Settings makePatienceSettings(CSession& session);

}  // namespace vexil::app

#pragma once

#include "vexil/net/RetryPolicy.h"

namespace vexil::app {

class CSession;

/// How often and how long the options allow to try again. The pauses are told on the console of the session,
/// which must outlive the settings.
CRetryPolicy::Settings makeRetrySettings(CSession& session);

}  // namespace vexil::app

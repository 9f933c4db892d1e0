#pragma once

#include "vexil/net/RetryPolicy.h"

#include <chrono>
#include <functional>
#include <optional>

namespace vexil::app {

class CSession;

/// How often and how long the options allow to try again. The pauses are told on the console of the session,
/// which must outlive the settings.
CRetryPolicy::Settings makeRetrySettings(CSession& session);

/// Sleeps between two tries.
/// \throws "Interrupted." (CInterrupt)
void waitForRetry(std::chrono::milliseconds pause);

/// Runs an operation on this thread, again and again until it succeeds or is given up. An interrupt ends it.
/// \param runOnce  prepares and performs it
/// \param decideRetry  the pause before the next try after this error; nullopt to give up
/// \throws the error of the last try; "Interrupted." (CInterrupt)
/// \return the number of the try that succeeded, from 1
int runWithRetries(const std::function<void()>& runOnce,
                   const std::function<std::optional<std::chrono::milliseconds>(
                       const CError& error, CRetryPolicy::Failures& failures)>& decideRetry);

}  // namespace vexil::app

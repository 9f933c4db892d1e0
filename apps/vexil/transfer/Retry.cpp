#include "apps/vexil/transfer/Retry.h"

#include "apps/vexil/platform/Interrupt.h"

#include <algorithm>
#include <thread>

namespace vexil::app {

namespace {

constexpr std::chrono::milliseconds maxStep(50);

}  // namespace

void waitForRetry(std::chrono::milliseconds pause) {
    using Clock = std::chrono::steady_clock;
    const auto end = Clock::now() + pause;
    for (auto now = end - pause; now < end; now = Clock::now()) {
        // A signal handler cannot wake a thread.
        CInterrupt::throwIfRequested();
        std::this_thread::sleep_for(std::min<Clock::duration>(maxStep, end - now));
    }
    CInterrupt::throwIfRequested();
}

int runWithRetries(const std::function<void()>& runOnce,
                   const std::function<std::optional<std::chrono::milliseconds>(
                       const CError& error, CRetryPolicy::Failures& failures)>& decideRetry) {
    CRetryPolicy::Failures failures;
    for (int tries = 1;; ++tries) {
        std::optional<std::chrono::milliseconds> pause;
        CInterrupt::throwIfRequested();
        try {
            runOnce();
            return tries;
        } catch (const CError& error) {
            CInterrupt::throwIfRequested();
            pause = decideRetry(error, failures);
            if (!pause) {
                throw;
            }
        }
        waitForRetry(*pause);
    }
}

}  // namespace vexil::app

#include "apps/vexil/transfer/Retry.h"

#include "apps/vexil/base/Text.h"
#include "apps/vexil/console/ErrorReport.h"
#include "apps/vexil/platform/Interrupt.h"
#include "apps/vexil/platform/Platform.h"
#include "apps/vexil/session/Session.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <thread>

namespace vexil::app {

namespace {

// A longer pause is reported if the user sees no other progress.
constexpr CRetryPolicy::Milliseconds longPause(5000);
// For tests, which must not wait for minutes.
constexpr const char* pauseFactorVariable = "VEXIL_TEST_PAUSE_FACTOR";

void tellPause(CConsole& console, const CError& error, int tries, CRetryPolicy::Milliseconds pause) {
    console.message(pause < longPause ? Verbosity::Info : Verbosity::Warning,
                    "vexil: " + CErrorReport(error).getLine() + " (try " + String::fromInt(tries) +
                        "); trying again in " + formatSeconds(std::chrono::duration<double>(pause).count()));
}

constexpr std::chrono::milliseconds maxStep(50);

}  // namespace

CRetryPolicy::Settings makeRetrySettings(CSession& session) {
    const COptions& options = session.getOptions();
    CRetryPolicy::Settings settings;
    settings.maxRetries = options.retries;
    if (options.patienceSeconds) {
        settings.limit = CRetryPolicy::Milliseconds(std::llround(*options.patienceSeconds * 1000));
        settings.firstLimit = settings.limit;
    }
    if (const auto factor = getEnvironmentVariable(pauseFactorVariable)) {
        settings.pauseFactor = std::strtod(factor->c_str(), nullptr);
    }
    settings.onPause = [&console = session.getConsole()](const CError& error, int tries,
                                                         CRetryPolicy::Milliseconds pause) {
        tellPause(console, error, tries, pause);
    };
    return settings;
}

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

#include "apps/vexil/transfer/RetrySettings.h"

#include "apps/vexil/base/Text.h"
#include "apps/vexil/console/ErrorReport.h"
#include "apps/vexil/platform/Platform.h"
#include "apps/vexil/session/Session.h"

#include <cmath>
#include <cstdlib>

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

}  // namespace vexil::app

#pragma once

#include "vexil/BaseTypes.h"

namespace vexil::app {

/// The user's request to stop (Ctrl-C, SIGTERM, SIGHUP). The program then ends as soon as it can do so
/// cleanly. A second Ctrl-C ends it at once.
class CInterrupt {
public:
    /// Begins to handle the signals of the system.
    static void install();

    static bool isRequested() noexcept;
    /// 128 plus the number of the signal: 130 for Ctrl-C.
    static int getExitCode() noexcept;
    /// \throws CError "Interrupted."
    static void throwIfRequested();

    /// Called by a signal handler.
    static void request(int signalNumber) noexcept;
    /// Forgets the request to stop.
    static void clear() noexcept;
};

}  // namespace vexil::app

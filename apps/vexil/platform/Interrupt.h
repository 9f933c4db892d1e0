#pragma once

#include "vexil/BaseTypes.h"

namespace vexil::app {

/// The user's wish to stop (Ctrl-C, SIGTERM, SIGHUP). The program then ends as soon as it can do so cleanly;
/// a second Ctrl-C ends it at once.
class CInterrupt {
public:
    /// Has the system's signals noted from now on.
    static void install();

    static bool isRequested() noexcept;
    /// 128 and the number of the signal: 130 for Ctrl-C.
    static int getExitCode() noexcept;
    /// \throws CError "Interrupted."
    static void throwIfRequested();

    /// What a signal handler calls.
    static void request(int signalNumber) noexcept;
    /// Forgets the wish.
    static void clear() noexcept;
};

}  // namespace vexil::app

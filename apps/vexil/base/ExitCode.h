#pragma once

namespace vexil::app {

/// What the program tells its caller. One that a signal has ended gives 128 and the signal's number instead.
enum class ExitCode {
    Done = 0,
    Failed = 1,        ///< a transfer or a comparison
    Usage = 2,         ///< arguments, settings or credentials that cannot be worked with
    NotFound = 3,      ///< what was asked for is not there
    RefusedLogin = 4,  ///< the server does not accept the credentials
};

}  // namespace vexil::app

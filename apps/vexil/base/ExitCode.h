#pragma once

namespace vexil::app {

/// The exit codes of the program. After a signal the code is 128 plus the number of the signal instead.
enum class ExitCode {
    Done = 0,
    Failed = 1,        ///< a transfer or a comparison
    Usage = 2,         ///< wrong arguments, settings or credentials
    NotFound = 3,      ///< the requested item does not exist
    RefusedLogin = 4,  ///< the server does not accept the credentials
    Incomplete =
        5,  ///< a backup or restore has come to its end, but has left out entries that it could not take
};

}  // namespace vexil::app

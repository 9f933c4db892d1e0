#pragma once

#include "zet/Export.h"

namespace zet {

/// What an error means for a caller, whatever library or server it comes from: CError::getKind(). New values
/// may be added at the end: treat an unknown one as Other.
enum class ErrorKind : int {
    Other = 0,         ///< nothing better is known
    InvalidArgument,   ///< a mistake of the caller: nothing was sent. Correct the call
    OutOfMemory,       ///< there was no memory
    Cancelled,         ///< the caller has stopped it
    Network,           ///< no connection to the server, or the connection was lost. Try again
    Timeout,           ///< the server or the network is too slow. Try again, or allow more time
    TLS,               ///< no encrypted connection: handshake, certificate or TLS settings
    Unauthenticated,   ///< the server or proxy does not accept the login, or requires one
    PermissionDenied,  ///< the login is known, but it does not allow this
    NotFound,          ///< the file, object, bucket or directory does not exist
    Conflict,          ///< the state of the target does not allow this: it exists, is not empty, has changed
    StorageFull,       ///< no room on the disk or on the server, a quota is reached, or a file is too large
    Throttled,         ///< too many requests. Try again after a pause, with fewer at once
    Unavailable,       ///< the service is down or overloaded. Try again later
    Server,            ///< the server reports a failure of its own
    Rejected,          ///< the server refuses the request for another reason. Trying again does not help
    InvalidData,       ///< a response is not what it should be, or content was damaged on the way
};

/// The kind of an `errno` value; Other if it says nothing.
[[nodiscard]] ZET_API ErrorKind getKindOfSystemError(int code) noexcept;

}  // namespace zet

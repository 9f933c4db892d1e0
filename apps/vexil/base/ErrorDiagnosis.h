#pragma once

#include "apps/vexil/base/ExitCode.h"
#include "vexil/BaseTypes.h"

namespace vexil::app {

/// What an error means for the rest of a command and for its exit code.
enum class ErrorKind {
    Other,
    Usage,           ///< wrong arguments or settings
    Missing,         ///< the entry does not exist on the server
    MissingStore,    ///< the place of all entries does not exist, for example the bucket
    AccessDenied,    ///< the server does not allow this to the owner of the login
    LoginRefused,    ///< the server or the proxy does not accept the login
    LoginForbidden,  ///< as LoginRefused, with the status 403: it may be about this request only
    Unavailable,     ///< the server cannot be reached, or takes no further connection
};

/// What an error means, and what the user can do about it. Each protocol makes it for its errors.
struct CErrorDiagnosis {
    ErrorKind kind = ErrorKind::Other;
    String hint;  ///< one or more sentences; "" for none

    /// True if every further request will fail in the same way.
    bool isHopeless() const noexcept {
        return kind == ErrorKind::MissingStore || kind == ErrorKind::LoginRefused ||
               kind == ErrorKind::LoginForbidden || kind == ErrorKind::Unavailable;
    }
    /// True if the server says that the owner of the login may not do this.
    bool isAccessDenied() const noexcept {
        return kind == ErrorKind::AccessDenied || kind == ErrorKind::LoginForbidden;
    }
    bool isMissing() const noexcept { return kind == ErrorKind::Missing || kind == ErrorKind::MissingStore; }
    ExitCode getExitCode() const noexcept;
};

}  // namespace vexil::app

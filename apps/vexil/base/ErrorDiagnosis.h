#pragma once

#include "apps/vexil/base/ExitCode.h"
#include "vexil/BaseTypes.h"

namespace vexil::app {

/// What an error means for the rest of a command and for its exit code.
/// The library's kinds that no command treats in its own way are Other here.
enum class DiagnosisKind {
    Other,
    Usage,           ///< wrong arguments or settings
    Missing,         ///< the entry does not exist on the server
    MissingStore,    ///< the place of all entries does not exist, for example the bucket
    AccessDenied,    ///< the server does not allow this to the owner of the login
    LoginRefused,    ///< the server or the proxy does not accept the login
    LoginForbidden,  ///< as LoginRefused, with the status 403: it may be about this request only
    Unavailable,     ///< the server cannot be reached, or takes no further connection
};

/// The kind for a command of a kind of the library.
DiagnosisKind toDiagnosisKind(ErrorKind kind) noexcept;

/// What an error means, and what the user can do about it. Each protocol makes it for its errors.
struct CErrorDiagnosis {
    DiagnosisKind kind = DiagnosisKind::Other;
    String hint;  ///< one or more sentences; "" for none

    /// True if every further request will fail in the same way.
    bool isHopeless() const noexcept {
        return kind == DiagnosisKind::MissingStore || kind == DiagnosisKind::LoginRefused ||
               kind == DiagnosisKind::LoginForbidden || kind == DiagnosisKind::Unavailable;
    }
    /// True if the server says that the owner of the login may not do this.
    bool isAccessDenied() const noexcept {
        return kind == DiagnosisKind::AccessDenied || kind == DiagnosisKind::LoginForbidden;
    }
    bool isMissing() const noexcept {
        return kind == DiagnosisKind::Missing || kind == DiagnosisKind::MissingStore;
    }
    ExitCode getExitCode() const noexcept;
};

/// The requested item does not exist on the server.
class CMissingError : public CError {
public:
    using CError::CError;

    P<CError> clone() const override;
    [[noreturn]] void throwClone() const override;
};

}  // namespace vexil::app

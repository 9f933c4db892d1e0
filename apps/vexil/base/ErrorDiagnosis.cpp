#include "apps/vexil/base/ErrorDiagnosis.h"

namespace vexil::app {

ExitCode CErrorDiagnosis::getExitCode() const noexcept {
    switch (kind) {
    case ErrorKind::Usage:
        return ExitCode::Usage;
    case ErrorKind::Missing:
    case ErrorKind::MissingStore:
        return ExitCode::NotFound;
    case ErrorKind::AccessDenied:
    case ErrorKind::LoginRefused:
    case ErrorKind::LoginForbidden:
        return ExitCode::RefusedLogin;
    default:
        return ExitCode::Failed;
    }
}

}  // namespace vexil::app

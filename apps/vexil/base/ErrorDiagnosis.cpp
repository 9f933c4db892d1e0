#include "apps/vexil/base/ErrorDiagnosis.h"

namespace vexil::app {

DiagnosisKind toDiagnosisKind(ErrorKind kind) noexcept {
    switch (kind) {
    case ErrorKind::InvalidArgument:
        return DiagnosisKind::Usage;
    case ErrorKind::NotFound:
        return DiagnosisKind::Missing;
    case ErrorKind::PermissionDenied:
        return DiagnosisKind::AccessDenied;
    case ErrorKind::Unauthenticated:
        return DiagnosisKind::LoginRefused;
    default:
        return DiagnosisKind::Other;
    }
}

ExitCode CErrorDiagnosis::getExitCode() const noexcept {
    switch (kind) {
    case DiagnosisKind::Usage:
        return ExitCode::Usage;
    case DiagnosisKind::Missing:
    case DiagnosisKind::MissingStore:
        return ExitCode::NotFound;
    case DiagnosisKind::AccessDenied:
    case DiagnosisKind::LoginRefused:
    case DiagnosisKind::LoginForbidden:
        return ExitCode::RefusedLogin;
    default:
        return ExitCode::Failed;
    }
}

P<CError> CMissingError::clone() const {
    return new CMissingError(*this);
}

void CMissingError::throwClone() const {
    throw CMissingError(*this);
}

}  // namespace vexil::app

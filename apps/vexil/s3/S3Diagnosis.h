#pragma once

#include "apps/vexil/base/ErrorDiagnosis.h"

#include <optional>

namespace vexil::app {

/// What an error means by the error code of the S3 server; nullopt for an error without one that is known.
std::optional<CErrorDiagnosis> findS3Diagnosis(const CError& error);

/// The same; for other errors, what diagnoseTransfer() says.
CErrorDiagnosis diagnoseS3(const CError& error);

}  // namespace vexil::app

#pragma once

#include "apps/vexil/base/ErrorDiagnosis.h"
#include "vexil/net/NetRequest.h"

#include <optional>

namespace vexil::app {

/// What an error means by the error code of the S3 server; nullopt for an error without one that is known.
std::optional<CErrorDiagnosis> findS3Diagnosis(const CError& error);

/// The same; for other errors, what diagnoseTransfer() says.
CErrorDiagnosis diagnoseS3(const CError& error);

/// Throws the error of a request again, with the region that the service wants, if it has refused the request
/// because of its region and has sent no error document, such as to HEAD.
void tryThrowRegionError(const CNetRequest& request, const CError& error);

}  // namespace vexil::app

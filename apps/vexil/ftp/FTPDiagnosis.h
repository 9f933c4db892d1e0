#pragma once

#include "apps/vexil/base/ErrorDiagnosis.h"

#include <optional>

namespace vexil::app {

/// What an error means by the reply of the FTP server; nullopt for an error without a reply.
std::optional<CErrorDiagnosis> findFTPDiagnosis(const CError& error);

/// The same; for other errors, what diagnoseTransfer() says.
CErrorDiagnosis diagnoseFTP(const CError& error);

}  // namespace vexil::app

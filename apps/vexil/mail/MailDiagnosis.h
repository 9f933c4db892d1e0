#pragma once

#include "apps/vexil/base/ErrorDiagnosis.h"

#include <optional>

namespace vexil::app {

/// What a CMailError means; nullopt for other errors.
std::optional<CErrorDiagnosis> findMailDiagnosis(const CError& error);

}  // namespace vexil::app

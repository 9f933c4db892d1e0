#pragma once

#include "apps/vexil/base/ErrorDiagnosis.h"

#include <exception>

namespace vexil::app {

/// What an error means that has ended a command of any protocol.
CErrorDiagnosis diagnose(const std::exception& error);

}  // namespace vexil::app

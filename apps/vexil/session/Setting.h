#pragma once

#include "apps/vexil/base/Options.h"

#include <optional>
#include <string>

namespace vexil::app {

/// A value that an option or the environment gives. The option counts first.
/// \param option    as given on the command line; "" if it is not
/// \param variable  name of the environment variable
/// \returns nullopt if neither is set; "" if the variable is set to an empty value
std::optional<std::string> findSetting(const std::string& option, const char* variable);

/// For operations without the profiles of Amazon's tools.
/// \throws CInvalidArgError if --profile names no profile of the configuration file
void refuseUnknownProfile(const COptions& options);

}  // namespace vexil::app

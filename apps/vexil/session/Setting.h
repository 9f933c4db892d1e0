#pragma once

#include <optional>
#include <string>

namespace vexil::app {

/// A value that an option or the environment gives. The option counts first.
/// \param option    as given on the command line; "" if it is not
/// \param variable  name of the environment variable
/// \returns nullopt if neither is set; "" if the variable is set to an empty value
std::optional<std::string> findSetting(const std::string& option, const char* variable);

}  // namespace vexil::app

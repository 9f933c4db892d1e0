#include "apps/vexil/session/Setting.h"

#include "apps/vexil/platform/Platform.h"

namespace vexil::app {

std::optional<std::string> findSetting(const std::string& option, const char* variable) {
    return option.empty() ? getEnvironmentVariable(variable) : option;
}

}  // namespace vexil::app

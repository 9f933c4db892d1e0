#include "apps/vexil/session/Setting.h"

#include "apps/vexil/platform/Platform.h"
#include "apps/vexil/session/Configuration.h"

namespace vexil::app {

std::optional<std::string> findSetting(const std::string& option, const char* variable) {
    return option.empty() ? getEnvironmentVariable(variable) : option;
}

void refuseUnknownProfile(const COptions& options) {
    if (!options.s3Profile.empty()) {
        throw CInvalidArgError("COptions", CConfiguration::describeUnknown(options.s3Profile));
    }
}

}  // namespace vexil::app

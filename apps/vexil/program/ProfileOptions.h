#pragma once

#include "apps/vexil/session/Configuration.h"

#include <string>
#include <vector>

namespace CLI {
class App;
}

namespace vexil::app {

/// \throws CInvalidArgError for a setting of the profile that is no option of any command
void checkProfile(const CLI::App& program, const CConfiguration::CProfile& profile);

/// The name of the profile in the arguments; "" if they name none.
std::string findProfileName(CLI::App& program, const std::vector<std::string>& arguments);

/// Adds the settings of a profile to the arguments, as options that stand directly after the command. An
/// option that the arguments have, or one that excludes it, counts instead of the setting; one that may be
/// repeated counts in addition. A setting for other commands is left out.
/// \throws CInvalidArgError as checkProfile()
void addProfile(CLI::App& program, const CConfiguration::CProfile& profile,
                std::vector<std::string>& arguments);

}  // namespace vexil::app

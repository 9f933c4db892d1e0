/// \file
/// The environment of the process, which differs between systems. Any thread, as long as none changes it.
#pragma once

#include "vexil/BaseTypes.h"

namespace vexil {

/// The value of an environment variable; "" if it is not set.
/// \throws CError if the value is not text
String getEnvironment(const char* name);

/// The folder of the user's own files; "" if unknown.
String getHomeFolder();

}  // namespace vexil

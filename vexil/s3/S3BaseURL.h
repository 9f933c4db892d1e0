#pragma once

#include "vexil/BaseTypes.h"

namespace vexil {

/// Describes what is wrong with a base URL; null if it is valid: scheme http or https, host, optional port,
/// optional "/".
const char* findBaseURLFault(const String& url);

}  // namespace vexil

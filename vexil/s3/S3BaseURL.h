#pragma once

#include "vexil/BaseTypes.h"

namespace vexil {

/// What is wrong with a base URL (scheme http or https, host, maybe a port and a "/"), null when nothing is.
const char* findBaseURLFault(const String& url);

}  // namespace vexil

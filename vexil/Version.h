/// \file
/// Versions of the headers and of the library, by which a program can tell whether they belong together.
#pragma once

#include "vexil/Export.h"

/// The version of the headers, MAJOR.MINOR.PATCH. The build reads it from here.
#define VEXIL_VERSION "0.1.0"

namespace vexil {

/// The version of the library that was loaded, in the form of VEXIL_VERSION.
VEXIL_API const char* getVersion() noexcept;

}  // namespace vexil

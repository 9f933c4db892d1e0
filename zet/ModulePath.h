#pragma once

#include "zet/Path.h"

namespace zet {

/// Absolute path of the folder in which this library's file lies; empty when the system cannot tell.
TPathImpl<CWindowsPathTraits> getModuleFolder();

}  // namespace zet

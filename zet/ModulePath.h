#pragma once

#include "zet/Path.h"

namespace zet {

/// Absolute path of the folder that contains this library's file; empty if the system does not know it.
TPathImpl<CWindowsPathTraits> getModuleFolder();

}  // namespace zet

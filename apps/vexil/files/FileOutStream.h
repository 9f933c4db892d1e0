#pragma once

#include "apps/vexil/files/PartStream.h"

namespace vexil::app {

using CFileOutStream = CPartStream;

}  // namespace vexil::app

#pragma once

#include "apps/vexil/files/InterruptibleFile.h"

namespace vexil::app {

using zet::CFileInStream;

}  // namespace vexil::app

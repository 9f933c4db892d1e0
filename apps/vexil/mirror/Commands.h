#pragma once

#include "apps/vexil/command/Command.h"

#include <memory>

namespace vexil::app {

/// `vexil compare`: compares two folders, byte for byte.
std::unique_ptr<CCommand> makeCompare();

}  // namespace vexil::app

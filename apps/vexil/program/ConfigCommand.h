#pragma once

#include "apps/vexil/command/Command.h"

#include <memory>

namespace CLI {
class App;
}

namespace vexil::app {

/// "vexil config".
/// \param program  must outlive the command
std::unique_ptr<CCommand> makeConfig(const CLI::App& program);

}  // namespace vexil::app

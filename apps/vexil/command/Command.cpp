#include "apps/vexil/command/Command.h"

namespace vexil::app {

CCommand::~CCommand() = default;

}  // namespace vexil::app

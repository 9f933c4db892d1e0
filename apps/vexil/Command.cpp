#include "apps/vexil/Command.h"

namespace vexil::app {

CCommand::~CCommand() = default;

}  // namespace vexil::app

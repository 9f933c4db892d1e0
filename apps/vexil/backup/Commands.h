#pragma once

#include "apps/vexil/command/Command.h"

#include <memory>

namespace vexil::app {

/// `vexil backup`: stores a folder at a destination of any kind.
std::unique_ptr<CCommand> makeBackup();
/// `vexil sync`: the same, and deletes there what the folder does not have any more.
std::unique_ptr<CCommand> makeSync();
/// `vexil check`: compares a folder with what is stored there.
std::unique_ptr<CCommand> makeCheck();
/// `vexil ls`: lists what is stored there.
std::unique_ptr<CCommand> makeList();
/// `vexil rm`: deletes files there.
std::unique_ptr<CCommand> makeRemove();
/// `vexil restore`: fetches it from there.
std::unique_ptr<CCommand> makeRestore();

}  // namespace vexil::app

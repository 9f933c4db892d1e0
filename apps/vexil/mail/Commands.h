#pragma once

#include "apps/vexil/command/Command.h"

#include <memory>

namespace vexil::app {

/// `vexil mail send`: one mail, with a text and files.
std::unique_ptr<CCommand> makeMailSend();
/// `vexil mail test`: checks whether a mail server can be reached and accepts the login.
std::unique_ptr<CCommand> makeMailTest();

}  // namespace vexil::app

#pragma once

#include "apps/vexil/command/Command.h"

#include <memory>

namespace vexil::app {

/// `vexil http get`: downloads a URL to a file or to standard output.
std::unique_ptr<CCommand> makeHTTPGet();
/// `vexil http head`: shows the headers of a URL.
std::unique_ptr<CCommand> makeHTTPHead();
/// `vexil http put`: uploads a file to a URL.
std::unique_ptr<CCommand> makeHTTPPut();

}  // namespace vexil::app

#pragma once

#include "vexil/net/NetRequest.h"

namespace vexil::app {

class CConsole;

/// Prints the status line and the headers of a request's last response, by name.
void printHeaders(CConsole& console, const CNetRequest& request);

}  // namespace vexil::app

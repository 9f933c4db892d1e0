/// \file
/// What a success must be that libcurl does not demand.
#pragma once

#include "vexil/BaseTypes.h"
#include "vexil/net/NetRequest.h"

namespace vexil::app {

/// Throws a CError when the last answer ended within its headers, which libcurl calls a success.
void checkAnswerIsComplete(const CNetRequest& request);

/// Throws a CError when the last answer's body had another length than its headers announced.
void checkAnswerLength(const CNetRequest& request, int64 receivedBytes);

/// A header of the last answer by its lower-case name; "" when there is none.
String getAnswerHeader(const CNetRequest& request, const char* name);

}  // namespace vexil::app

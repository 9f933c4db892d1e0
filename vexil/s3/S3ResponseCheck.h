/// \file
/// Checks of responses that libcurl takes for a success.
#pragma once

#include "vexil/net/NetRequest.h"

namespace vexil {

/// \throws CError if the response ended within its headers, or if a header line could not be read
void checkResponseIsComplete(const CNetRequest& request);

/// \throws CS3Error with status 0 if the response to a copy contains an error
void throwCopyError(CNetRequest& request);

}  // namespace vexil

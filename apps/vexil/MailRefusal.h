#pragma once

#include "vexil/net/CURLError.h"
#include "vexil/net/NetRequest.h"

namespace vexil::app {

/// The error of a mail with what a person wants to know of it: the reply of refusal instead of the last one, which is
/// that to the goodbye, and the recipient that was refused.
/// \param request     which the error comes from
/// \param recipients  in the order in which they were named to the server
CError makeMailError(const CCURLError& error, const CNetRequest& request, const TArray<String>& recipients);

/// The last reply with this code in one line, its code in front; "" when there was none.
String getReply(const CNetRequest& request, int code);

}  // namespace vexil::app

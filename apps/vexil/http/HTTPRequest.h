#pragma once

#include "vexil/net/NetRequest.h"

#include <string>

namespace vexil::app {

class CSession;

/// The session's request with URL and options set.
/// \param url  in UTF-8; one without a scheme gets "http://"
CNetRequest& prepareHTTPRequest(CSession& session, const std::string& url);

/// Performs a prepared request as CRedirectFollower does, and shows its progress.
void performWithProgress(CSession& session, CNetRequest& request);

}  // namespace vexil::app

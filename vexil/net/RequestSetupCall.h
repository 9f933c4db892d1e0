#pragma once

#include "vexil/BaseTypes.h"
#include "vexil/net/NetRequestSetup.h"

namespace vexil {

/// Calls the set-up hook of a client, if there is one, for a request that receives into its own buffer.
/// \param place  function name for the error: the client's setter of the hook
/// \throws CInvalidArgError if the hook has replaced URL, method, header list or sink
void callRequestSetup(const P<INetRequestSetup>& setup, CNetRequest& request, const char* place);

}  // namespace vexil

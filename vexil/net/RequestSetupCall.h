#pragma once

#include "vexil/BaseTypes.h"
#include "vexil/net/NetRequestSetup.h"

namespace vexil {

/// Calls the set-up hook of a client, if there is one, for a request whose receive data go to its own buffer.
/// \param place  what the error names: the client's setter of the hook
/// \throws CInvalidArgError when the hook has replaced URL, method, header list or receive data sink
void callRequestSetup(const P<INetRequestSetup>& setup, CNetRequest& request, const char* place);

}  // namespace vexil

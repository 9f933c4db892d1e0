#pragma once

#include "vexil/BaseTypes.h"
#include "vexil/Export.h"
#include "vexil/net/NetRequest.h"

namespace vexil {

/// The source of a body, of setSendDataSource() or setSendDataStream(); null if the request has no
/// source. For a stream it is an object of this library.
///
/// Like the request: one thread at a time.
[[nodiscard]] VEXIL_API P<CNetRequest::IDataSource> getSendDataSource(const CNetRequest& request);

}  // namespace vexil

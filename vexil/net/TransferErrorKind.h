/// \file
/// What libcurl's codes and the responses of servers mean.
#pragma once

#include "vexil/BaseTypes.h"

namespace vexil {

/// The kind of an error of domain "curl" or "curlm", from its code, properties and message.
zet::ErrorKind findTransferErrorKind(const CError& error);

/// The status with which a proxy has refused a tunnel; -1 if no proxy has.
/// \param error  of domain "curl"
int findTunnelStatus(const CError& error);

}  // namespace vexil

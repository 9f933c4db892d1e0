#pragma once

#include "vexil/BaseTypes.h"
#include "vexil/Export.h"

#include <exception>

namespace vexil {

/// The HTTP status behind an error, -1 when there is none: the code of an error of domain "http"; otherwise
/// the status in its properties, but for a transfer that broke after a successful answer (domain "curl",
/// code not 22, status below 400), which is no HTTP failure.
VEXIL_API int getHTTPStatusCodeFromError(const CError& error);

/// The "responseCode" of a property list whose "responseCodeDomain" is "http", else -1.
VEXIL_API int getHTTPStatusCodeFromErrorParams(const CProps& props);

/// Whether an error of domain "curl" says that the network or the service is down: host or proxy not resolved
/// (5, 6), connection refused (7), TLS handshake failed (35), HTTP 503, FTP 421. Time-outs and broken
/// transfers do not count.
VEXIL_API bool isNetworkOrServiceDownError(const std::exception& error);

}  // namespace vexil

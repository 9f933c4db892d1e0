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
///
/// By its contract it knows no error of another domain, such as a CS3Error: see isOutageError().
VEXIL_API bool isNetworkOrServiceDownError(const std::exception& error);

/// Whether the network or the service is down, whatever has failed there: isNetworkOrServiceDownError(), and the same
/// for a service that says so in another way: a CS3Error with status 503 or code ServiceUnavailable or SlowDown, a proxy
/// that refused a tunnel with status 502, 503 or 504, SMTP 421.
VEXIL_API bool isOutageError(const std::exception& error);

/// Whether the same operation may succeed if it is tried again later: one question for HTTP, S3, FTP and mail. Any
/// thread.
///
/// True for an error whose property "transient" is "true" (makeTransientError()) and for all others by this order:
/// - A CS3Error: the status 408, 425, 429, 500, 502, 503, 504, or 520 to 527 (proxies of content delivery networks), or
///   an S3 code that may pass, such as InternalError, SlowDown, RequestTimeout, BadDigest. The `Date` of a prepared
///   request is signed: prepare it again after a longer pause, and after RequestTimeTooSkewed.
/// - A CCURLError of code 5, 6, 7 or 35: no name, connection or TLS handshake. A wrong host name fails in the same way.
/// - What the server, or a proxy that refused a tunnel, has said: the HTTP statuses above; FTP replies 421, 425, 426, 431,
///   434, 450, 451; SMTP replies 400 to 499, except 432. Every other refusal is final, whatever the code.
/// - A transfer that broke (codes 10, 12, 16, 18, 28, 52, 55, 56, 89, 92, 95, 96), also after an interim response (100) or
///   within a successful response (200), where CS3Client gives up.
///
/// False for a cancelled transfer (42), local failures (a source, a sink, memory), certificates, logins, and for a mail
/// that broke after its data had begun (reply 354): the server may have taken it, and would send it twice.
///
/// It looks at the error only. For an operation that must not be done twice, such as a POST, ask more.
VEXIL_API bool isTransientError(const std::exception& error);

/// An error that isTransientError() knows, for a failure that shows outside of libcurl: a response that is too short, or
/// that has other content than was announced.
VEXIL_API CError makeTransientError(const String& message);

}  // namespace vexil

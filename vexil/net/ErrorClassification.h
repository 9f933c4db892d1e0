#pragma once

#include "vexil/BaseTypes.h"
#include "vexil/Export.h"

#include <exception>

namespace vexil {

/// The HTTP status that an error reports; -1 if there is none. That is the code of an error of domain "http",
/// otherwise the status in its properties. A transfer that failed after a successful status (domain "curl",
/// code not 22, status below 400) is not an HTTP failure.
[[nodiscard]] VEXIL_API int getHTTPStatusCodeFromError(const CError& error);

/// The "responseCode" of a property list whose "responseCodeDomain" is "http", otherwise -1.
[[nodiscard]] VEXIL_API int getHTTPStatusCodeFromErrorParams(const CProps& props);

/// The kind of an HTTP status that is a failure: 401 and 407 Unauthenticated, 403 PermissionDenied, 404
/// and 410 NotFound, 408 Timeout, 409 and 412 Conflict, 429 Throttled, 507 StorageFull, 425, 502, 503, 504
/// and 520 to 527 Unavailable, every other one below 500 Rejected, and below 600 Server. Other below 300 and
/// from 600 on.
[[nodiscard]] VEXIL_API ErrorKind getKindOfHTTPStatus(int status) noexcept;

/// Whether an error of domain "curl" means that the network or the service is down: host or proxy not
/// resolved (5, 6), connection refused (7), TLS handshake failed (35), HTTP 503, FTP 421. Time-outs and
/// interrupted transfers do not count.
///
/// By its contract it ignores errors of other domains, such as a CS3Error: see isOutageError().
[[nodiscard]] VEXIL_API bool isNetworkOrServiceDownError(const std::exception& error);

/// Whether the network or the service is down: isNetworkOrServiceDownError(), a CS3Error with status 503 or
/// code ServiceUnavailable or SlowDown, a proxy that refused a tunnel with status 502, 503 or 504, or SMTP
/// 421.
[[nodiscard]] VEXIL_API bool isOutageError(const std::exception& error);

/// Whether the same operation may succeed if it is tried again later, for HTTP, S3, FTP and mail. Any thread.
///
/// True if the error's property "transient" is "true" (makeTransientError()), otherwise by these rules, in
/// this order:
/// - A CS3Error: the status 408, 425, 429, 500, 502, 503, 504, or 520 to 527 (proxies of content delivery
///   networks), or a temporary S3 code, such as InternalError, SlowDown, RequestTimeout, BadDigest. The
///   `Date` of a prepared request is signed: prepare it again after a longer pause, and after
///   RequestTimeTooSkewed.
/// - A CCURLError of code 5, 6, 7 or 35: no host name, connection or TLS handshake. A wrong host name fails
///   in the same way.
/// - The server, or a proxy that refused a tunnel, has sent one of the HTTP statuses above; an FTP reply 421,
///   425, 426, 431, 434, 450, 451; an SMTP reply 400 to 499, except 432. Every other refusal is final, with
///   any libcurl code.
/// - The transfer was interrupted (codes 10, 12, 16, 18, 28, 52, 55, 56, 89, 92, 95, 96), also after an
///   interim response (100) or inside a successful response (200), although CS3Client does not try these
///   again.
///
/// False for a cancelled transfer (42), local failures (a source, a sink, memory), certificates, logins, and
/// a mail that was interrupted after its data had begun (reply 354): the server may have accepted it, and
/// would send it twice.
///
/// Only the error is examined. An operation that must not be done twice, such as a POST, needs more checks.
[[nodiscard]] VEXIL_API bool isTransientError(const std::exception& error);

/// An error for which isTransientError() is true, for failures that libcurl does not detect: a response that
/// is too short, or that has other content than announced. Its kind is
/// ErrorKind::InvalidData.
[[nodiscard]] VEXIL_API CError makeTransientError(const String& message);

}  // namespace vexil

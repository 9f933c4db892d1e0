/// \file
/// URLs for messages and logs, without their secrets. Any thread.
#pragma once

#include "vexil/BaseTypes.h"
#include "vexil/Export.h"

namespace vexil {

/// A URL with "***" instead of its login ("http://***@host/x"), even if it has no scheme or is malformed
/// ("user:password@host", "http:/user:password@host", a password with "/", "?" or "#"). If a port and a
/// password cannot be told apart, everything up to the last "@" is replaced: it is better to hide too much.
/// The values of the query arguments that CNetRequest::getRedactedVerboseOutput() replaces are replaced as
/// well, up to the next "&". The time is proportional to the length.
[[nodiscard]] VEXIL_API String redactURL(const String& url);

/// A text with "***" instead of the logins of all its URLs: after "://", in words that have a ":" before an
/// "@", and inside the last "URL: '...'". The values of secret query arguments are replaced as well, up to
/// the next "&" or white space. An e-mail address stays. The time is proportional to the length.
[[nodiscard]] VEXIL_API String redactURLs(const String& text);

}  // namespace vexil

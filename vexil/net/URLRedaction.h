/// \file
/// URLs for messages and logs, without the secrets that may stand in them. Any thread.
#pragma once

#include "vexil/BaseTypes.h"
#include "vexil/Export.h"

namespace vexil {

/// A URL with "***" in place of the login in it ("http://***@host/x"), also one that has no scheme or is not well
/// formed ("user:password@host", "http:/user:password@host", a password with "/", "?" or "#"). Where a port and a
/// password cannot be told apart, rather too much is replaced: all up to the last "@". So are the values of the query
/// arguments that CNetRequest::getRedactedVerboseOutput() names, up to the next "&". Takes time in proportion to the
/// length.
VEXIL_API String redactURL(const String& url);

/// A text with "***" in place of the logins of all URLs in it: after "://", in words that have a ":" before an "@", and
/// in what stands in the last "URL: '...'". So are the values of their query arguments that are secrets, up to the next "&"
/// or white space. An e-mail address stays. Takes time in proportion to the length.
VEXIL_API String redactURLs(const String& text);

}  // namespace vexil

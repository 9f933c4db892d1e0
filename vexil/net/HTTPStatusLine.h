#pragma once

#include "vexil/BaseTypes.h"
#include "vexil/Export.h"

namespace vexil {

/// Splits an HTTP status line (RFC 9112, 4): "HTTP/1.1 404 Not Found" gives 404 and "Not Found". The reason
/// may be missing, as in HTTP/2. Only the blank separates.
/// \param line  the line without its line end, which only a reason, or a blank in its place, may carry;
///              begins with "HTTP/" in any case
/// \param code  becomes the status code; may have been written when the call throws
/// \param info  becomes the trimmed reason text
/// \throws CError "Invalid HTTP status line: '...'"
VEXIL_API void parseHTTPStatusLine(const String& line, int& code, String& info);

/// The status code of parseHTTPStatusLine.
VEXIL_API int getStatusCodeFromHTTPStatusLine(const String& line);

/// The reason text of parseHTTPStatusLine.
VEXIL_API String getInfoFromHTTPStatusLine(const String& line);

}  // namespace vexil

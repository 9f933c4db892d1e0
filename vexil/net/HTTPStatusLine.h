#pragma once

#include "vexil/BaseTypes.h"
#include "vexil/Export.h"

namespace vexil {

/// Splits an HTTP status line (RFC 9112, 4): "HTTP/1.1 404 Not Found" gives 404 and "Not Found". The reason
/// may be missing, as in HTTP/2. Only spaces separate.
/// \param line  the line without its line end; begins with "HTTP/" in any case. A trailing line end is
///              accepted only after the reason phrase or after a space
/// \param code  receives the status code, possibly also if the function throws
/// \param info  receives the trimmed reason text
/// \throws CError "Invalid HTTP status line: '...'"
VEXIL_API void parseHTTPStatusLine(const String& line, int& code, String& info);

/// The status code of parseHTTPStatusLine.
[[nodiscard]] VEXIL_API int getStatusCodeFromHTTPStatusLine(const String& line);

/// The reason text of parseHTTPStatusLine.
[[nodiscard]] VEXIL_API String getInfoFromHTTPStatusLine(const String& line);

}  // namespace vexil

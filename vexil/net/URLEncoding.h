/// \file
/// Texts in URLs and forms: percent-encoding (RFC 3986, 2.1) of their UTF-8 bytes. Any thread.
#pragma once

#include "vexil/BaseTypes.h"
#include "vexil/Export.h"

#include <map>

namespace vexil {

/// Percent-encodes everything except letters, digits, "-", ".", "_" and "~", with hexadecimal digits in lower
/// case ("%2f"); CNetRequest::urlEscape() writes upper case. Servers read both.
/// \param spaceAsPlus  write a space as "+", as in queries and forms, instead of "%20"
[[nodiscard]] VEXIL_API String urlEscape(const String& text, bool spaceAsPlus);

/// Reverses percent-encoding. A "%" without two hexadecimal digits stays unchanged; decoded bytes that are
/// not UTF-8 become U+FFFD. Never fails.
/// \param plusAsSpace  read "+" as a space, as in queries and forms
[[nodiscard]] VEXIL_API String urlUnescape(const String& text, bool plusAsSpace);

/// @{

/// The form "application/x-www-form-urlencoded": one text, or names and values as "name=value" joined with
/// "&", in the order of the names. A space is "+".
/// \param useUpperCase  write hexadecimal digits as "%2F", not as "%2f"; both decode to the same text
[[nodiscard]] VEXIL_API String formURLEncode(const String& text, bool useUpperCase);
[[nodiscard]] VEXIL_API String formURLEncode(const std::map<String, String>& fields, bool useUpperCase);
[[nodiscard]] VEXIL_API String formURLEncode(const CProps& props, bool useUpperCase);
/// @}

/// Names and values as a query, without "?": "a=1&b=2+3", in the order of the names.
[[nodiscard]] VEXIL_API String encodeURLParams(const TMap<String, String>& params);

/// Reads a query, without "?", into a map, whose other entries stay. If a name repeats, the last one counts.
/// A piece without "=" is a name with the value "". An empty piece is the empty name. An empty query changes
/// nothing.
VEXIL_API void decodeURLParams(const String& query, TMap<String, String>& params);

}  // namespace vexil

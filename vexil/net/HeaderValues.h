/// \file
/// Values of header fields, and user input. Any thread.
#pragma once

#include "vexil/BaseTypes.h"
#include "vexil/Export.h"
#include "zet/Time.h"

namespace vexil {

/// Reads the value of a "Content-Disposition" header (RFC 6266): `attachment; filename="a.txt"`.
///
/// Only parameters in double quotes are read, unchanged: a backslash is a character like others. Reading ends
/// at anything else, such as a value without quotes.
/// \param params  receives the parameters by lower-case name; other entries stay
/// \return the type, trimmed and in lower case
VEXIL_API String parseContentDispositionHeader(const String& value, TMap<String, String>& params);

/// Reads a date as HTTP and mail write them (curl_getdate): "Tue, 03 Mar 2020 07:05:09 GMT". Whole seconds.
/// \throws CError "Error parsing timestamp '...'." for anything else
[[nodiscard]] VEXIL_API zet::CTime parseTimestamp(const String& text);

/// Whether a text looks like a mail address: one "@" that is not the first character, a "." after it, no
/// spaces, control characters, double quotes, "<" or ">". Finds typing mistakes; only a mail can show whether
/// the address exists.
[[nodiscard]] VEXIL_API bool isValidEmailAddress(const String& address);

}  // namespace vexil

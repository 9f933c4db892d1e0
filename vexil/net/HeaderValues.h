/// \file
/// Values of header fields, and what people type into forms. Any thread.
#pragma once

#include "vexil/BaseTypes.h"
#include "vexil/Export.h"
#include "zet/Time.h"

namespace vexil {

/// Reads the value of a "Content-Disposition" header (RFC 6266): `attachment; filename="a.txt"`.
///
/// Only parameters in double quotes are read, as they stand: a backslash is a character like others. Anything else,
/// such as a value without quotes, ends the reading where it stands.
/// \param params  gets the parameters by lower-case name, beside what it holds
/// \return the type, trimmed and in lower case
VEXIL_API String parseContentDispositionHeader(const String& value, TMap<String, String>& params);

/// Reads a date as HTTP and mail write them (curl_getdate): "Tue, 03 Mar 2020 07:05:09 GMT". Whole seconds.
/// \throws CError "Error parsing timestamp '...'." for anything else
VEXIL_API zet::CTime parseTimestamp(const String& text);

/// Whether a text looks like a mail address: one "@" that does not come first, a "." somewhere behind it, no blanks,
/// control characters, double quotes, "<" or ">". Finds slips of typing; only a mail can tell whether it arrives.
VEXIL_API bool isValidEmailAddress(const String& address);

}  // namespace vexil

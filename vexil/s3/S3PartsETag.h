/// \file
/// The ETag of an object that was stored in parts.
#pragma once

#include "vexil/BaseTypes.h"

namespace vexil {

String withoutQuotes(const String& eTag);

/// Whether a text has the form of an MD5 in hexadecimal digits.
bool isMD5(const String& text);

/// Whether an ETag can be that of an object whose parts have an MD5: 32 digits, "-", the number of parts.
/// \param eTag  without quotes
bool isMD5OfParts(const String& eTag);

/// The ETag as most services make it: the MD5 of the MD5s of the parts, "-", their number.
/// \param md5s  of the parts, in hexadecimal digits
/// \return without quotes, in lower case; "" if one of the texts is not an MD5
String makePartsETag(const TArray<String>& md5s);

}  // namespace vexil

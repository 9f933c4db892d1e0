/// \file
/// The MD5 of an object's content.
#pragma once

#include "sigil/Digest.h"
#include "vexil/BaseTypes.h"

namespace vexil {

/// Ends a computation; in base64, as the header Content-MD5 has it.
String finishContentMD5(sigil::IDigest& digest);

/// \throws CError when headers of a response have an MD5 as their ETag and it is another one
void verifyContentMD5(const TMap<String, String>& responseHeaders, const String& contentMD5);

}  // namespace vexil

/// \file
/// The MD5 of an object's content.
#pragma once

#include "sigil/Digest.h"
#include "vexil/BaseTypes.h"

namespace vexil {

/// Finishes the computation; returns the MD5 in base64, as in the header Content-MD5.
String finishContentMD5(sigil::IDigest& digest);

/// \throws CError if the ETag of the response is an MD5 and differs from `contentMD5`
void verifyContentMD5(const TMap<String, String>& responseHeaders, const String& contentMD5);

}  // namespace vexil

/// \file
/// Checks of successful responses that libcurl does not make.
#pragma once

#include "vexil/BaseTypes.h"
#include "vexil/net/NetRequest.h"

namespace vexil::app {

/// Throws a CError if the last response ended within its headers, which libcurl calls a success.
void checkResponseIsComplete(const CNetRequest& request);

/// Throws a CError if the length of the last response's body is not the announced one.
void checkResponseLength(const CNetRequest& request, int64 receivedBytes);

/// Throws a CError if the last response has an MD5 as its ETag (CS3Client::getContentMD5) and it is a
/// different one.
/// \param contentMD5  in base64
void checkContentMD5(const CNetRequest& request, const String& contentMD5);

/// A header of the last response by its lower-case name; "" if it is missing.
String getResponseHeader(const CNetRequest& request, const char* name);

}  // namespace vexil::app

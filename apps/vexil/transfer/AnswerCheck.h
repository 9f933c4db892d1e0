/// \file
/// What a success must be that libcurl does not demand.
#pragma once

#include "vexil/BaseTypes.h"
#include "vexil/net/NetRequest.h"

namespace vexil::app {

/// Throws a CError when the last answer ended within its headers, which libcurl calls a success.
void checkAnswerIsComplete(const CNetRequest& request);

/// Throws a CError when the last answer's body had another length than its headers announced.
void checkAnswerLength(const CNetRequest& request, int64 receivedBytes);

/// Throws a CError when the last response has an MD5 as its ETag (CS3Client::getContentMD5) and it is not this one.
/// \param contentMD5  in base64
void checkContentMD5(const CNetRequest& request, const String& contentMD5);

/// A header of the last answer by its lower-case name; "" when there is none.
String getAnswerHeader(const CNetRequest& request, const char* name);

}  // namespace vexil::app

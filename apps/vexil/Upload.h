#pragma once

#include "apps/vexil/FileInStream.h"
#include "vexil/BaseTypes.h"

namespace vexil::app {

class CContext;

/// Stores a whole file as an object. Beside what the client tries again, an upload that broke behind the server's
/// "100 Continue" is: the client takes the 100 for the server's verdict.
void upload(CContext& context, CFileInStream& file, const String& bucket, const String& key,
            const String& contentType);

/// Throws a CError when the last answer ended within its headers, which libcurl calls a success.
void checkAnswerIsComplete(CContext& context);

}  // namespace vexil::app

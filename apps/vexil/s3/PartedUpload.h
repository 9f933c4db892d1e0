#pragma once

#include "vexil/BaseTypes.h"
#include "vexil/s3/S3PutOptions.h"

#include <filesystem>

namespace vexil::app {

class CS3Access;

/// Which object a file becomes, and how it is sent.
struct CPartedUpload {
    String bucket;
    String key;
    CS3PutOptions options;
    int64 partSize = 0;  ///< 0 for the default of the library
    int jobs = 8;        ///< parts at once
};

/// Stores a file in parts, several at once, with the tries, the progress and the logs of the session. An
/// interrupt by the user deletes the parts and ends it.
void uploadInParts(CS3Access& access, const std::filesystem::path& file, const CPartedUpload& upload);

}  // namespace vexil::app

#pragma once

#include "vexil/BaseTypes.h"

namespace vexil {

/// A part of an upload in several parts, as CS3Client::completeMultipartUpload() names it to the service.
struct CS3UploadedPart {
    int number = 0;  ///< 1 to 10,000; the parts become the object in the order of their numbers
    String eTag;     ///< as CS3Client::uploadPart() returned it
    /// In base64, as the service returned it; "" if it returned none. Sent by the completion, whose
    /// CS3PutOptions::checksum tells its kind.
    String checksum = {};
};

}  // namespace vexil

#pragma once

#include "vexil/s3/S3Checksum.h"
#include "vexil/s3/S3CustomerKey.h"

namespace vexil {

/// How a part of an upload is sent (CS3Client::uploadPart). A value.
struct CS3PartOptions {
    CS3CustomerKey customerKey = {};         ///< that of the upload
    S3Checksum checksum = S3Checksum::None;  ///< that of the upload; see CS3PutOptions::checksum
};

}  // namespace vexil

#pragma once

#include "vexil/BaseTypes.h"
#include "vexil/s3/S3CustomerKey.h"
#include "zet/Time.h"

namespace vexil {

/// The object that is copied, and under which conditions. A value: it holds copies of all texts. "" and a
/// time that is not set mean: send nothing.
///
/// If a condition is not met, the service refuses with the status 412: CS3Client::isPreconditionFailed().
struct CS3CopySource {
    String bucket;          ///< any bucket that the keys may read, at the same service
    String object;          ///< the name of the object
    String versionId = {};  ///< "" for the newest version

    String ifMatch = {};                ///< copy only if the object has this ETag
    String ifNoneMatch = {};            ///< copy only if it has another ETag
    zet::CTime ifModifiedSince = {};    ///< rounded down to seconds
    zet::CTime ifUnmodifiedSince = {};  ///< rounded down to seconds

    CS3CustomerKey customerKey = {};  ///< the key with which the object was stored
};

}  // namespace vexil

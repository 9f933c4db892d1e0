/// \file
/// Checks of arguments that the operations of CS3Client share.
#pragma once

#include "vexil/BaseTypes.h"

namespace vexil {

/// \param place  for the error: the member that refuses the argument
/// \throws CInvalidArgError for an empty name
inline void checkBucket(const char* place, const String& bucket) {
    if (bucket.isEmpty()) {
        throw CInvalidArgError(place, "bucket name must not be empty");
    }
}

/// \throws CInvalidArgError for an empty name
inline void checkNames(const char* place, const String& bucket, const String& object) {
    checkBucket(place, bucket);
    if (object.isEmpty()) {
        throw CInvalidArgError(place, "object name must not be empty");
    }
}

/// The largest number of a part of an upload.
inline constexpr int maxPartNumber = 10'000;

/// \throws CInvalidArgError for a number that no part can have
inline void checkPartNumber(const char* place, int number) {
    if (number < 1 || number > maxPartNumber) {
        throw CInvalidArgError(place, "the part number " + String::fromInt(number) + " is not 1 to 10000");
    }
}

/// \throws CInvalidArgError for an empty ID
inline void checkUploadID(const char* place, const String& uploadId) {
    if (uploadId.isEmpty()) {
        throw CInvalidArgError(place, "upload ID must not be empty");
    }
}

}  // namespace vexil

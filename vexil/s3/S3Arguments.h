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

}  // namespace vexil

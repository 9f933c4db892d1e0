/// \file
/// Checks of arguments that all clients with uploads share.
#pragma once

#include "vexil/BaseTypes.h"
#include "zet/InStream.h"

namespace vexil {

/// \param function  for the error: the member that refuses the argument
/// \throws CInvalidArgError for a negative size
inline void checkUploadSize(const char* function, int64 size) {
    if (size < 0) {
        throw CInvalidArgError(function, "size must not be negative");
    }
}

/// \throws CInvalidArgError for a negative size, and for null data unless the size is 0
inline void checkUploadMemory(const char* function, const void* data, int size) {
    checkUploadSize(function, size);
    if (!data && size > 0) {
        throw CInvalidArgError(function, "data must not be null");
    }
}

/// \throws CInvalidArgError for a null stream and for a negative size
inline void checkUploadStream(const char* function, const zet::IInStream* data, int64 size) {
    if (!data) {
        throw CInvalidArgError(function, "data stream must not be null");
    }
    checkUploadSize(function, size);
}

}  // namespace vexil

/// \file
/// The parts with which an object was uploaded.
#pragma once

#include "vexil/BaseTypes.h"

#include <functional>

namespace vexil {

/// What a service tells about the sizes of the parts of an object.
struct CS3UploadedParts {
    enum class Sizes {
        Unknown,    ///< the service does not tell them
        Equal,      ///< all parts except the last one have `size` bytes
        Different,  ///< they differ
    };

    Sizes sizes = Sizes::Unknown;
    int64 size = 0;
};

/// Asks for the first part and for the last one, because the parts of some uploads grow.
/// \param askLength   returns the length of a part, from 1; -1 if the service does not tell it
/// \param count       of the parts
/// \param objectSize  bytes, at least 1
CS3UploadedParts findUploadedParts(const std::function<int64(int)>& askLength, int64 count, int64 objectSize);

}  // namespace vexil

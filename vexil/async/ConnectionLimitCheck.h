#pragma once

#include "vexil/BaseTypes.h"

namespace vexil {

/// \throws CInvalidArgError for a negative number of connections
inline void checkConnectionLimit(const char* place, int count) {
    if (count < 0) {
        throw CInvalidArgError(place, "count must not be negative: " + String::fromInt(count));
    }
}

}  // namespace vexil

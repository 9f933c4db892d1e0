#pragma once

#include "vexil/BaseTypes.h"
#include "vexil/async/AsyncEngine.h"

namespace vexil {

/// \throws CInvalidArgError for a value that is not one of the enumeration
inline void checkEngine(const char* place, AsyncEngine engine) {
    if (engine != AsyncEngine::Automatic && engine != AsyncEngine::Sockets) {
        throw CInvalidArgError(place, "unknown engine");
    }
}

}  // namespace vexil

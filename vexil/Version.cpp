#include "vexil/Version.h"

namespace vexil {

const char* getVersion() noexcept {
    return VEXIL_VERSION;
}

}  // namespace vexil

#include "apps/vexil/base/MissingError.h"

namespace vexil::app {

P<CError> CMissingError::clone() const {
    return new CMissingError(*this);
}

void CMissingError::throwClone() const {
    throw CMissingError(*this);
}

}  // namespace vexil::app

#include "apps/vexil/ftp/RefusedConnectionError.h"

namespace vexil::app {

P<CError> CRefusedConnectionError::clone() const {
    return new CRefusedConnectionError(*this);
}

void CRefusedConnectionError::throwClone() const {
    throw CRefusedConnectionError(*this);
}

}  // namespace vexil::app

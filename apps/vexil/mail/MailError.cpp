#include "apps/vexil/mail/MailError.h"

namespace vexil::app {

P<CError> CMailError::clone() const {
    return new CMailError(*this);
}

void CMailError::throwClone() const {
    throw CMailError(*this);
}

}  // namespace vexil::app

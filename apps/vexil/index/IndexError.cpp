#include "apps/vexil/index/IndexError.h"

namespace vexil::app {

P<CError> CIndexError::clone() const {
    return new CIndexError(*this);
}

void CIndexError::throwClone() const {
    throw CIndexError(*this);
}

P<CError> CIndexVersionError::clone() const {
    return new CIndexVersionError(*this);
}

void CIndexVersionError::throwClone() const {
    throw CIndexVersionError(*this);
}

}  // namespace vexil::app

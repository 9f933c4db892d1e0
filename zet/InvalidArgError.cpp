#include "zet/InvalidArgError.h"

namespace zet {

CInvalidArgError::CInvalidArgError(const String& place, const String& message, const CProps& props)
    : CError(message, String(), -1, props), m_place(place) {
    setKind(ErrorKind::InvalidArgument);
    setWhat(place + ": " + message);
}

CInvalidArgError::~CInvalidArgError() = default;

P<CError> CInvalidArgError::clone() const {
    return new CInvalidArgError(*this);
}

void CInvalidArgError::throwClone() const {
    throw CInvalidArgError(*this);
}

}  // namespace zet

#pragma once

#include "vexil/BaseTypes.h"

namespace vexil::app {

/// The requested item does not exist on the server.
class CMissingError : public CError {
public:
    using CError::CError;

    P<CError> clone() const override;
    [[noreturn]] void throwClone() const override;
};

}  // namespace vexil::app

#pragma once

#include "vexil/BaseTypes.h"

namespace vexil::app {

/// An index is damaged, incomplete, or none.
class CIndexError : public CError {
public:
    using CError::CError;

    P<CError> clone() const override;
    [[noreturn]] void throwClone() const override;
};

/// An index was written by a newer version of the program.
class CIndexVersionError : public CError {
public:
    CIndexVersionError() : CError("The index was written by a newer version of this program.") {}

    P<CError> clone() const override;
    [[noreturn]] void throwClone() const override;
};

}  // namespace vexil::app

#pragma once

#include "vexil/net/CURLError.h"

namespace vexil::app {

/// A server refuses a further connection, although a login has succeeded before: the credentials are not the
/// reason.
class CRefusedConnectionError : public CCURLError {
public:
    explicit CRefusedConnectionError(const CCURLError& error) : CCURLError(error) {}

    P<CError> clone() const override;
    [[noreturn]] void throwClone() const override;
};

}  // namespace vexil::app

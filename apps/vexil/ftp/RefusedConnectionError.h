#pragma once

#include "vexil/net/CURLError.h"

namespace vexil::app {

/// A server takes no further connection, although a login has worked before: it is not the credentials that it does not
/// like.
class CRefusedConnectionError : public CCURLError {
public:
    explicit CRefusedConnectionError(const CCURLError& error) : CCURLError(error) {}

    P<CError> clone() const override;
    [[noreturn]] void throwClone() const override;
};

}  // namespace vexil::app

#pragma once

#include "apps/vexil/base/ErrorDiagnosis.h"
#include "vexil/net/CURLError.h"

#include <optional>

namespace vexil::app {

/// A server refuses a further connection, although a login has succeeded before: the credentials are not the
/// reason.
class CRefusedConnectionError : public CCURLError {
public:
    explicit CRefusedConnectionError(const CCURLError& error) : CCURLError(error) {}

    P<CError> clone() const override;
    [[noreturn]] void throwClone() const override;
};

/// What an error means by the reply of the FTP server; nullopt for an error without a reply.
std::optional<CErrorDiagnosis> findFTPDiagnosis(const CError& error);

/// The same; for other errors, what diagnoseTransfer() says.
CErrorDiagnosis diagnoseFTP(const CError& error);

}  // namespace vexil::app

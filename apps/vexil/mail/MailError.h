#pragma once

#include "apps/vexil/base/ErrorDiagnosis.h"
#include "vexil/BaseTypes.h"

#include <optional>

namespace vexil::app {

/// A mail that was not sent, or a failed test of a mail server, with advice for the user.
class CMailError : public CError {
public:
    /// \param error           the message, libcurl's code and the facts
    /// \param advice          a sentence, "" for none
    /// \param isLoginRefused  whether the server refuses the credentials, or demands a login
    CMailError(const CError& error, const String& advice, bool isLoginRefused)
        : CError(error), m_advice(advice), m_isLoginRefused(isLoginRefused) {}

    const String& getAdvice() const noexcept { return m_advice; }
    bool isLoginRefused() const noexcept { return m_isLoginRefused; }

    P<CError> clone() const override;
    [[noreturn]] void throwClone() const override;

private:
    String m_advice;
    bool m_isLoginRefused;
};

/// What a CMailError means; nullopt for other errors.
std::optional<CErrorDiagnosis> findMailDiagnosis(const CError& error);

}  // namespace vexil::app

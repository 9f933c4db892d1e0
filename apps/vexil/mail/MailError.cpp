#include "apps/vexil/mail/MailError.h"

#include "apps/vexil/session/TransferDiagnosis.h"

namespace vexil::app {

P<CError> CMailError::clone() const {
    return new CMailError(*this);
}

void CMailError::throwClone() const {
    throw CMailError(*this);
}

std::optional<CErrorDiagnosis> findMailDiagnosis(const CError& error) {
    const auto* const mail = dynamic_cast<const CMailError*>(&error);
    if (!mail) {
        return std::nullopt;
    }
    // A refusal says it all; libcurl's code would tell of a broken connection.
    const bool isRefused = mail->getProps().has("responseCode");
    return CErrorDiagnosis{mail->isLoginRefused() ? DiagnosisKind::LoginRefused : DiagnosisKind::Other,
                           isRefused || !mail->getAdvice().isEmpty() ? mail->getAdvice()
                                                                     : getHintForCurl(mail->getCode())};
}

}  // namespace vexil::app

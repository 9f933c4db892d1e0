#include "apps/vexil/program/Diagnosis.h"

#include "apps/vexil/ftp/FTPDiagnosis.h"
#include "apps/vexil/mail/MailError.h"
#include "apps/vexil/s3/S3Diagnosis.h"
#include "apps/vexil/session/TransferDiagnosis.h"

namespace vexil::app {

CErrorDiagnosis diagnose(const std::exception& error) {
    const auto* const known = dynamic_cast<const CError*>(&error);
    if (!known) {
        return {};
    }
    for (const auto find : {&findS3Diagnosis, &findMailDiagnosis, &findFTPDiagnosis}) {
        if (const auto diagnosis = find(*known)) {
            return *diagnosis;
        }
    }
    return diagnoseTransfer(*known);
}

}  // namespace vexil::app

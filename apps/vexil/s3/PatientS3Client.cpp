#include "apps/vexil/s3/PatientS3Client.h"

#include "apps/vexil/platform/Interrupt.h"
#include "apps/vexil/transfer/AnswerCheck.h"
#include "zet/TimeFields.h"

namespace vexil::app {

CPatientS3Client::~CPatientS3Client() = default;

int CPatientS3Client::performRequest(CNetRequest& request) {
    CPatience::Failures failures;
    for (int tries = 1;; ++tries) {
        std::optional<std::chrono::milliseconds> pause;
        try {
            performOnce(request);
            return tries;
        } catch (const CError& error) {
            CInterrupt::throwIfRequested();
            pause = m_policy.decideRetry(request, error, failures);
            if (!pause) {
                throw;
            }
        }
        CPatience::wait(*pause);
        signAgain(request);
    }
}

void CPatientS3Client::performOnce(CNetRequest& request) {
    try {
        request.perform();
    } catch (std::exception& error) {
        tryThrowBetterError(error, *request.getDefaultReceiveBuffer());
        throw;
    }
    checkAnswerIsComplete(request);
    m_policy.onSuccess();
}

// The Date is signed, and services refuse one that is 15 minutes old.
void CPatientS3Client::signAgain(CNetRequest& request) {
    const P<CNetHeaders> headers = new CNetHeaders;
    for (const P<CNetHeaders::CIterator> old = request.getCustomHTTPHeaders()->createIterator();
         old->next();) {
        if (old->getName().equalsNoCase("Date")) {
            headers->add("Date", zet::CTimeFields(zet::CTime::now()).toInternetTimestamp());
        } else if (!old->getName().equalsNoCase("Authorization")) {
            headers->add(old->getName(), old->getValue());
        }
    }
    request.setCustomHTTPHeaders(headers);
    signRequest(&request);
}

}  // namespace vexil::app

#include "vexil/s3/S3RequestPolicy.h"

namespace vexil {

void CS3RequestPolicy::checkResult(CNetRequest& request) {
    m_client.checkResponse(request);
    m_retryPolicy.onSuccess();
}

std::optional<std::chrono::milliseconds>
CS3RequestPolicy::decideRetry(CNetRequest& request, const CError& error, CRetryPolicy::Failures& failures) {
    // With version 4 the detour of the transfer decides. With version 2 the next try is signed with the time
    // of that moment; a wrong clock stays wrong.
    const bool isClockRefused = error.getProps().lookup("s3-code") == "RequestTimeTooSkewed";
    const bool isClockWrong =
        isClockRefused && (m_client.getSignatureVersion() == S3SignatureVersion::V4 || failures.count > 0);
    return m_retryPolicy.isTemporary(error) && !isClockWrong ? decidePause(request, error, failures)
                                                             : std::nullopt;
}

std::optional<std::chrono::milliseconds>
CS3RequestPolicy::decidePause(CNetRequest& request, const CError& error, CRetryPolicy::Failures& failures) {
    return m_retryPolicy.decidePause(error, failures, CRetryPolicy::hasMovedBytes(request, error),
                                     CRetryPolicy::findRetryAfter(request));
}

}  // namespace vexil

#include "apps/vexil/s3/S3TransferPolicy.h"

#include "vexil/net/ErrorClassification.h"
#include "vexil/s3/S3Client.h"

namespace vexil::app {

namespace {

void checkStatus(CNetRequest& request) {
    request.checkAsyncResult();
    // The status of a URL that begins with "HTTP://" is left to the caller.
    const int status = request.getResponseCode();
    if (request.getResponseCodeDomain() == "http" && (status < 200 || status > 299)) {
        request.throwError(CURLE_HTTP_RETURNED_ERROR, "http", status, "");
    }
}

bool isClockRefused(const CError& error) {
    return error.getProps().lookup("s3-code") == "RequestTimeTooSkewed";
}

}  // namespace

void CS3TransferPolicy::checkResult(CNetRequest& request) {
    try {
        checkStatus(request);
    } catch (std::exception& error) {
        CS3Client::tryThrowBetterError(error, request);
        throw;
    }
    m_retryPolicy.onSuccess();
}

std::optional<std::chrono::milliseconds>
CS3TransferPolicy::decideRetry(CNetRequest& request, const CError& error, CRetryPolicy::Failures& failures) {
    return m_hasDetours && isClockRefused(error) ? std::nullopt
                                                 : decideOperationRetry(request, error, failures);
}

std::optional<std::chrono::milliseconds>
CS3TransferPolicy::decideOperationRetry(CNetRequest& request, const CError& error,
                                        CRetryPolicy::Failures& failures) {
    // The next try is signed with the time of that moment. A wrong clock stays wrong.
    const bool isClockWrong = isClockRefused(error) && failures.count > 0;
    return isTransientError(error) && !isClockWrong ? decidePause(request, error, failures) : std::nullopt;
}

std::optional<std::chrono::milliseconds>
CS3TransferPolicy::decidePause(CNetRequest& request, const CError& error, CRetryPolicy::Failures& failures) {
    return m_retryPolicy.decidePause(error, failures, hasMovedBytes(request, error),
                                     CRetryPolicy::findRetryAfter(request));
}

}  // namespace vexil::app

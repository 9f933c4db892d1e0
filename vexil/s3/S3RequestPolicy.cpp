#include "vexil/s3/S3RequestPolicy.h"

#include "vexil/net/CURLError.h"
#include "vexil/net/ErrorClassification.h"

namespace vexil {

namespace {

constexpr int firstRefusal = 400;
constexpr int maxLearning = 2;  // a region and a clock

/// Whether the last transfer has moved bytes of a body, and was not refused.
bool hasMovedBytes(const CNetRequest& request, const CError& error) {
    const bool isRefused =
        error.getDomain() == "http" || CCURLError::getResponseCode(error.getProps()) >= firstRefusal;
    return !isRefused && request.getDownloadedByteCount() + request.getUploadedByteCount() > 0;
}

}  // namespace

void CS3RequestPolicy::checkResult(CNetRequest& request) {
    m_client.checkResponse(request);
    m_retryPolicy.onSuccess();
}

std::optional<std::chrono::milliseconds>
CS3RequestPolicy::decideRetry(CNetRequest& request, const CError& error, CRetryPolicy::Failures& failures) {
    if (failures.count < maxLearning && m_client.learnFromRefusal(request, error)) {
        ++failures.count;
        return std::chrono::milliseconds(0);
    }
    // The next try is signed with the time of that moment. A wrong clock stays wrong.
    const bool isClockWrong =
        error.getProps().lookup("s3-code") == "RequestTimeTooSkewed" && failures.count > 0;
    return isTransientError(error) && !isClockWrong ? decidePause(request, error, failures) : std::nullopt;
}

std::optional<std::chrono::milliseconds>
CS3RequestPolicy::decidePause(CNetRequest& request, const CError& error, CRetryPolicy::Failures& failures) {
    return m_retryPolicy.decidePause(error, failures, hasMovedBytes(request, error),
                                     CRetryPolicy::findRetryAfter(request));
}

}  // namespace vexil

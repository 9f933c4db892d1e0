#include "vexil/async/TransferPolicy.h"

#include "vexil/net/ErrorClassification.h"

#include <algorithm>
#include <array>
#include <utility>

namespace vexil {

namespace {

/// Whether neither the server nor a proxy has received anything of the request.
bool hasSentNothing(CNetRequest& request, const CError& error) {
    constexpr std::array codes = {CURLE_COULDNT_RESOLVE_PROXY, CURLE_COULDNT_RESOLVE_HOST,
                                  CURLE_COULDNT_CONNECT};
    // A redirect or a data connection comes after a request.
    return error.getDomain() == "curl" &&
           std::find(codes.begin(), codes.end(), error.getCode()) != codes.end() &&
           request.getResponseCode() <= 0 && request.getInfoLong(CURLINFO_REQUEST_SIZE) == 0;
}

bool hasIdempotentMethod(const CNetRequest& request) {
    const String method = request.getHTTPMethod();
    constexpr std::array methods = {"GET", "HEAD", "PUT", "DELETE", "OPTIONS", "TRACE"};
    return request.getResponseCodeDomain() == "http" &&
           std::any_of(methods.begin(), methods.end(),
                       [&method](const char* idempotent) { return method == idempotent; });
}

}  // namespace

CTransferPolicy::CTransferPolicy(CRetryPolicy::Settings settings, Repeat repeat)
    : m_retryPolicy(std::move(settings)), m_repeat(repeat) {}

CTransferPolicy::~CTransferPolicy() = default;

void CTransferPolicy::checkResult(CNetRequest& request) {
    request.checkAsyncResult();
    const int status = request.getResponseCode();
    if (request.getResponseCodeDomain() == "http" && (status < 200 || status > 299)) {
        request.throwError(CURLE_HTTP_RETURNED_ERROR, "http", status, "");
    }
    if (request.hasDroppedHeaderLine()) {
        throw makeTransientError("A header line of the response could not be read.");
    }
    if (!request.isResponseComplete()) {
        throw makeTransientError("The connection ended within the headers of the response.");
    }
    m_retryPolicy.onSuccess();
}

std::optional<std::chrono::milliseconds>
CTransferPolicy::decideRetry(CNetRequest& request, const CError& error, CRetryPolicy::Failures& failures) {
    const bool mayRepeat =
        m_repeat == Repeat::Always || hasIdempotentMethod(request) || hasSentNothing(request, error);
    return m_retryPolicy.isTemporary(error) && mayRepeat ? decidePause(request, error, failures)
                                                         : std::nullopt;
}

std::optional<std::chrono::milliseconds>
CTransferPolicy::decidePause(CNetRequest& request, const CError& error, CRetryPolicy::Failures& failures) {
    return m_retryPolicy.decidePause(error, failures, CRetryPolicy::hasMovedBytes(request, error),
                                     CRetryPolicy::findRetryAfter(request));
}

bool CTransferPolicy::mayTryAgain(const CRetryPolicy::Failures& failures) const {
    return m_retryPolicy.mayTryAgain(failures);
}

}  // namespace vexil

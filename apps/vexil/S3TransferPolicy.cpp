#include "apps/vexil/S3TransferPolicy.h"

namespace vexil::app {

namespace {

constexpr std::chrono::milliseconds retryDelay(100);

void checkStatus(CNetRequest& request) {
    request.checkAsyncResult();
    // The status of a URL that begins with "HTTP://" is left to the caller.
    const int status = request.getResponseCode();
    if (request.getResponseCodeDomain() == "http" && (status < 200 || status > 299)) {
        request.throwError(CURLE_HTTP_RETURNED_ERROR, "http", status, "");
    }
}

}  // namespace

void CS3TransferPolicy::checkResult(CNetRequest& request) {
    try {
        checkStatus(request);
    } catch (std::exception& error) {
        CS3Client::tryThrowBetterError(error, *request.getDefaultReceiveBuffer());
        throw;
    }
}

std::optional<std::chrono::milliseconds> CS3TransferPolicy::decideRetry(const CError& error, int tries) {
    return m_client.decideRetry(error, tries) ? std::optional(retryDelay) : std::nullopt;
}

}  // namespace vexil::app
